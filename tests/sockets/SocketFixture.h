#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/io_service.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "SocketHandler.h"
#include "StdLog.h"
#include "TcpSocket.h"

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// What has happened, in order. Any thread.
class Record {
  public:
    void Add(const std::string& what) {
        const std::lock_guard lock(mMutex);
        mEntries.push_back(what);
    }
    void Clear() {
        const std::lock_guard lock(mMutex);
        mEntries.clear();
    }
    std::vector<std::string> Entries() const {
        const std::lock_guard lock(mMutex);
        return mEntries;
    }
    std::size_t Count(const std::string& what) const {
        const auto entries = Entries();
        return static_cast<std::size_t>(std::count(entries.begin(), entries.end(), what));
    }

  private:
    mutable std::mutex mMutex;
    std::vector<std::string> mEntries;
};

class RecordingLog : public StdLog, public Record {
  public:
    void Report(const Socket*, const std::string& call, int, const std::string&, Level) override {
        Add(call);
    }
};

/// Tells its record what becomes of it, and takes all input out of the ring unless told otherwise.
class RecordingSocket : public TcpSocket {
  public:
    RecordingSocket(ISocketHandler& handler, Record& record, std::size_t outputSize = 0x40000)
        : TcpSocket(handler, 1000, outputSize), mRecord(record) {}
    ~RecordingSocket() override { mRecord.Add("destroyed"); }

    void OnRead() override {
        TcpSocket::OnRead();
        if (mTakesInput) {
            TakeInput();
        }
    }
    void TakeInput() {
        std::string bytes(InputBuffer().GetLength(), '\0');
        EXPECT_TRUE(InputBuffer().Read(bytes.data(), bytes.size()));
        mInput += bytes;
    }
    void OnConnect() override { mRecord.Add("connect"); }
    void OnReconnect() override { mRecord.Add("reconnect"); }
    void OnConnectFailed() override { mRecord.Add("failed"); }
    void OnDelete() override { mRecord.Add("delete"); }
    void OnDisconnect() override { mRecord.Add("disconnect after '" + mInput + "'"); }
    void OnDisconnect(short info, int code) override {
        mRecord.Add("disconnect " + std::to_string(info) + " " + std::to_string(code));
    }

    bool mTakesInput = true;
    std::string mInput;

  private:
    Record& mRecord;
};

/// A listener outside the loop, on a free port of 127.0.0.1; until it listens, it refuses. One without room
/// never answers.
class RawListener {
  public:
    enum class Kind { Refuses, Listens, NeverAnswers };

    explicit RawListener(Kind kind) {
        mAcceptor.set_option(boost::asio::socket_base::receive_buffer_size(4096));  // connections inherit it
        mAcceptor.bind({boost::asio::ip::address_v4::loopback(), 0});
        if (kind == Kind::Listens) {
            mAcceptor.listen();
        } else if (kind == Kind::NeverAnswers) {
            mAcceptor.listen(0);
            mFiller.connect(mAcceptor.local_endpoint());
        }
    }

    std::uint16_t Port() const { return mAcceptor.local_endpoint().port(); }
    void Listen() { mAcceptor.listen(); }
    void Accept() {
        mPeer.close();
        mAcceptor.accept(mPeer);
    }
    void Send(const std::string& bytes) { boost::asio::write(mPeer, boost::asio::buffer(bytes)); }
    void SendUrgent(char byte) { mPeer.send(boost::asio::buffer(&byte, 1), MSG_OOB); }
    void ClosePeer(bool byReset = false) {
        mPeer.set_option(boost::asio::socket_base::linger(byReset, 0));
        mPeer.close();
    }
    /// Up to `size` bytes, or to the end of the connection.
    std::string Receive(std::size_t size) {
        std::string bytes(size, '\0');
        boost::system::error_code end;
        bytes.resize(boost::asio::read(mPeer, boost::asio::buffer(bytes), end));
        return bytes;
    }

  private:
    using Tcp = boost::asio::ip::tcp;

    boost::asio::io_service mIo;
    Tcp::acceptor mAcceptor{mIo, Tcp::v4()};
    Tcp::socket mFiller{mIo};
    Tcp::socket mPeer{mIo};
};

/// A handler whose passes wait far longer than a test may take, so that whatever depends on the end of a wait
/// fails.
class HandlerFixture : public testing::Test {
  protected:
    template <class Predicate>
    static bool Await(const Predicate& done) {
        const auto deadline = Clock::now() + std::chrono::seconds(8);
        while (!done() && Clock::now() < deadline) {
            std::this_thread::yield();
        }
        return done();
    }

    /// Until `done` holds, the loop on this thread.
    template <class Predicate>
    bool RunUntil(const Predicate& done) {
        return Await([&] {
            if (!done()) {
                mHandler.Select(10, 0);
            }
            return done();
        });
    }

    /// The loop on a thread of its own while `body` runs.
    template <class Body>
    void RunBeside(const Body& body) {
        std::atomic<bool> stops{false};
        const auto loop = std::async(std::launch::async, [this, &stops] {
            while (!stops) {
                mHandler.Select(10, 0);
            }
        });
        body();
        stops = true;
        mHandler.Wake();
    }

    std::size_t Logged(const std::string& text) const { return mLog.Count(text); }

    Record mRecord;
    RecordingLog mLog;
    SocketHandler mHandler{mLog};
};
