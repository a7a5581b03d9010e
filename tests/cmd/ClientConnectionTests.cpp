#include "ClientConnection.h"

#include <gtest/gtest.h>

#include <boost/asio/io_service.hpp>
#include <memory>
#include <string>
#include <vector>

#include "LineClient.h"

namespace {

using boost::asio::ip::tcp;
using cmd::ClientConnection;

/// A connection and its client, without a shell around them. The event loop runs when the test lets it.
class Connection : public testing::Test {
  protected:
    Connection() { mConnection->Start("banner\n"); }

    boost::asio::io_service mIo;
    tcp::acceptor mAcceptor{mIo, {boost::asio::ip::address_v4::loopback(), 0}};
    LineClient mClient{mAcceptor.local_endpoint().port()};
    std::vector<std::string> mEvents;
    const std::shared_ptr<ClientConnection> mConnection = std::make_shared<ClientConnection>(
        mAcceptor.accept(), '\n', [this](const auto& /*connection*/, const auto& error, const auto& line) {
            mEvents.push_back(error ? "end" : line);
        });
};

TEST_F(Connection, IsDroppedByTheFirstByteAboveTheLimitAndReportsItsEndOnce) {
    mConnection->Send(std::string(ClientConnection::kMaxUnsent - 7, 'x'));
    EXPECT_EQ(mConnection->DropReason(), nullptr);
    mConnection->Send("x");
    EXPECT_NE(mConnection->DropReason(), nullptr);
    mConnection->Send("nobody hears this");
    mConnection->Drop("again");
    mIo.run();
    EXPECT_EQ(mEvents, std::vector<std::string>{"end"});
}

TEST_F(Connection, TakesNoMoreOfItsLinesOnceDropped) {
    mClient.Send("one\ntwo\n");
    while (mEvents.empty()) {
        mIo.run_one();
    }
    mConnection->Drop("enough");
    mIo.run();
    EXPECT_EQ(mEvents, (std::vector<std::string>{"one", "end"}));
}

}  // namespace
