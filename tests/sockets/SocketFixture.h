#pragma once

#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
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

class RecordingLog : public StdLog {
  public:
    void Report(const Socket*, const std::string& call, int, const std::string&, Level) override {
        mReports.Add(call);
    }
    Record mReports;
};

/// Tells its record what becomes of it, and takes all input out of the ring unless told otherwise.
class RecordingSocket : public TcpSocket {
  public:
    RecordingSocket(ISocketHandler& handler, Record& record, std::size_t inputSize = 1000,
                    std::size_t outputSize = 0x40000)
        : TcpSocket(handler, inputSize, outputSize), mRecord(record) {}
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
    void OnAccept() override { mRecord.Add("accept"); }
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

    explicit RawListener(Kind kind) : mDescriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const int smallBuffer = 4096;  // connections inherit it
        setsockopt(mDescriptor, SOL_SOCKET, SO_RCVBUF, &smallBuffer, sizeof smallBuffer);
        mAddress.sin_family = AF_INET;
        mAddress.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof mAddress;
        EXPECT_EQ(bind(mDescriptor, reinterpret_cast<sockaddr*>(&mAddress), size), 0);
        EXPECT_EQ(getsockname(mDescriptor, reinterpret_cast<sockaddr*>(&mAddress), &size), 0);
        if (kind == Kind::Listens) {
            Listen(5);
        } else if (kind == Kind::NeverAnswers) {
            Listen(0);
            mFiller = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            EXPECT_EQ(connect(mFiller, reinterpret_cast<sockaddr*>(&mAddress), size), 0);
        }
    }
    ~RawListener() {
        for (const int descriptor : {mDescriptor, mFiller, mPeer}) {
            if (descriptor >= 0) {
                close(descriptor);
            }
        }
    }
    RawListener(const RawListener&) = delete;
    RawListener& operator=(const RawListener&) = delete;

    std::uint16_t Port() const { return ntohs(mAddress.sin_port); }
    void Listen(int backlog) const { EXPECT_EQ(listen(mDescriptor, backlog), 0); }

    void Accept() {
        ClosePeer();
        mPeer = accept(mDescriptor, nullptr, nullptr);
        const timeval patience{10, 0};
        setsockopt(mPeer, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    void Send(const std::string& bytes) const {
        EXPECT_EQ(send(mPeer, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    void ClosePeer(bool byReset = false) {
        const linger atOnce{byReset ? 1 : 0, 0};
        setsockopt(mPeer, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        close(std::exchange(mPeer, -1));
    }
    /// Up to `size` bytes, or to the end of the connection.
    std::string Receive(std::size_t size) const {
        std::string bytes(size, '\0');
        std::size_t done = 0;
        ssize_t count = 1;
        while (done < size && count > 0) {
            count = recv(mPeer, bytes.data() + done, size - done, 0);
            done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        }
        bytes.resize(done);
        return bytes;
    }

  private:
    int mDescriptor;
    int mFiller = -1;
    int mPeer = -1;
    sockaddr_in mAddress{};
};

/// A handler whose passes wait far longer than a test may take, so that whatever depends on the end of a wait
/// fails.
class HandlerFixture : public testing::Test {
  protected:
    template <class Predicate>
    bool RunUntil(const Predicate& done) {
        const auto deadline = Clock::now() + std::chrono::seconds(8);
        while (!done()) {
            if (Clock::now() > deadline) {
                return false;
            }
            mHandler.Select(10, 0);
        }
        return true;
    }

    /// The loop on a thread of its own while `body` runs.
    template <class Body>
    void RunBeside(const Body& body) {
        std::atomic<bool> stops{false};
        std::thread loop([this, &stops] {
            while (!stops) {
                mHandler.Select(10, 0);
            }
        });
        body();
        stops = true;
        mHandler.Wake();
        loop.join();
    }

    template <class Predicate>
    static bool Await(const Predicate& done) {
        const auto deadline = Clock::now() + std::chrono::seconds(8);
        while (!done() && Clock::now() < deadline) {
            std::this_thread::yield();
        }
        return done();
    }

    std::size_t Logged(const std::string& text) const { return mLog.mReports.Count(text); }

    Record mRecord;
    RecordingLog mLog;
    SocketHandler mHandler{mLog};
};
