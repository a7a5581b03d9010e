#pragma once

#include <gtest/gtest.h>

#include <boost/asio/io_service.hpp>
#include <cstdint>
#include <string>
#include <thread>

#include "ActionN.h"
#include "CommandLine.h"
#include "LineClient.h"
#include "Node.h"

/// A shell on a free port of the loopback, with the command `num`, whose event loop runs on a thread of its
/// own from StartShell on.
class ShellFixture : public testing::Test {
  protected:
    /// A client that has read the banner.
    struct GreetedClient : LineClient {
        explicit GreetedClient(std::uint16_t port) : LineClient(port) { ReadUntil("'cmd'.\n"); }
    };

    ShellFixture() {
        mShell.Root()->AddAction(cmd::action::MakeAction(
            "num", [](int number) { return std::to_string(number); }, "Repeat a number"));
    }
    ~ShellFixture() override { StopShell(); }

    void StartShell() {
        mThread = std::thread([this] { mShell.Run(); });
    }

    void StopShell() {
        mShell.Stop();
        if (mThread.joinable()) {
            mThread.join();
        }
    }

    boost::asio::io_service mIo;
    cmd::CommandLine mShell{mIo, {boost::asio::ip::address_v4::loopback(), 0}, "box"};
    const std::uint16_t mPort = mShell.Endpoint().port();
    std::thread mThread;
};
