#include "TcpSocket.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <functional>

#include "SocketFixture.h"

using testing::ElementsAre;
using Kind = RawListener::Kind;

namespace {

class Tcp : public HandlerFixture {
  protected:
    static constexpr StreamSocket::Times kShort{milliseconds(60), milliseconds(20), milliseconds(100)};

    /// A client that the handler deletes, under way to the listener and in the loop.
    RecordingSocket& AddClient(std::uint16_t port, int retries = 0, bool reconnect = false,
                               const StreamSocket::Times& times = kShort, std::size_t outputSize = 0x40000) {
        mRecord.Clear();
        mLog.Clear();
        auto socket = std::make_unique<RecordingSocket>(mHandler, mRecord, outputSize);
        socket->SetTimes(times);
        socket->SetConnectionRetry(retries);
        socket->SetReconnect(reconnect);
        socket->SetDeleteByHandler();
        EXPECT_TRUE(socket->Open("127.0.0.1", port));
        mHandler.Add(socket.get());
        return *socket.release();
    }

    RecordingSocket& AddConnected(RawListener& listener, std::size_t outputSize = 0x40000,
                                  const StreamSocket::Times& times = kShort) {
        RecordingSocket& socket = AddClient(listener.Port(), 0, false, times, outputSize);
        EXPECT_TRUE(RunUntil([this] { return mRecord.Count("connect") == 1; }));
        listener.Accept();
        return socket;
    }

    bool RunToDestruction() {
        return RunUntil([this] { return mRecord.Count("destroyed") == 1; });
    }
};

constexpr StreamSocket::Times Tcp::kShort;

/// Sends past the socket until nothing more goes; how many bytes that took.
std::size_t FillSystemBuffers(int descriptor) {
    constexpr int kSettlingMs = 50;
    const std::string dots(10000, '.');
    std::size_t total = 0;
    pollfd room{descriptor, POLLOUT, 0};
    for (std::size_t before = 1; before != total;) {
        before = total;
        poll(&room, 1, kSettlingMs);
        for (ssize_t sent = 0; sent >= 0; sent = send(descriptor, dots.data(), dots.size(), MSG_DONTWAIT)) {
            total += static_cast<std::size_t>(sent);
        }
    }
    return total;
}

TEST_F(Tcp, AFailingConnectionIsTriedAgainAsOftenAsAllowedAndAtItsInterval) {
    const struct {
        Kind mKind;
        unsigned mRetries;
        std::string mReason;
        int mLeastMs;
    } rows[] = {
        {Kind::Refuses, 0, "connect: failed", 0},
        {Kind::Refuses, 2, "connect: failed", 40},
        {Kind::NeverAnswers, 1, "connect timeout", 140},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mReason + ", retries " + std::to_string(row.mRetries));
        const RawListener listener(row.mKind);
        const auto begin = Clock::now();
        AddClient(listener.Port(), static_cast<int>(row.mRetries));
        EXPECT_TRUE(RunToDestruction());
        EXPECT_GE(Clock::now() - begin, milliseconds(row.mLeastMs));
        EXPECT_EQ(Logged(row.mReason + ", reconnect pending"), row.mRetries);
        EXPECT_EQ(Logged(row.mReason), 1U);
        EXPECT_THAT(mRecord.Entries(), ElementsAre("failed", "delete", "destroyed"));
    }
}

TEST_F(Tcp, WithEndlessRetriesItGetsThroughWithWhatWaitedAndComesBackWithoutTheOldBytes) {
    RawListener listener(Kind::Refuses);
    RecordingSocket& socket = AddClient(listener.Port(), -1);
    socket.Send("first ");
    EXPECT_TRUE(RunUntil([this] { return Logged("connect: failed, reconnect pending") >= 3; }));
    socket.Send("second ");
    EXPECT_EQ(Logged("Attempt to write to a non-connected socket, will be sent on connect"), 2U);
    listener.Listen();
    EXPECT_TRUE(RunUntil([this] { return mRecord.Count("connect") == 1; }));
    socket.Send("third");
    listener.Accept();
    EXPECT_EQ(listener.Receive(18), "first second third");
    socket.SetConnectionRetry(0);
    socket.SetReconnect(true);
    socket.mTakesInput = false;
    listener.Send("old input");
    socket.SendBuf(std::string(200000, 'o').data(), 200000);
    listener.ClosePeer();
    EXPECT_TRUE(RunUntil([this] { return mRecord.Count("reconnect") == 1; }));
    listener.Accept();
    socket.Send("new");
    listener.Send("input");
    EXPECT_EQ(listener.Receive(3), "new");
    socket.mTakesInput = true;
    EXPECT_TRUE(RunUntil([&socket] { return socket.mInput.size() >= 5; }));
    EXPECT_EQ(socket.mInput, "input");
    EXPECT_EQ(mRecord.Count("connect"), 1U);
}

TEST_F(Tcp, ADisconnectSaysHowItCameAboutAndEndsTheSocket) {
    const auto end = [this](const std::function<void(RawListener&, RecordingSocket&)>& act) {
        RawListener listener(Kind::Listens);
        RecordingSocket& socket = AddConnected(listener, 60000);
        act(listener, socket);
        EXPECT_TRUE(RunToDestruction());
        return mRecord.Entries();
    };
    EXPECT_THAT(
        end([](RawListener& peer, RecordingSocket&) {
            peer.Send("last words");
            peer.ClosePeer();
        }),
        ElementsAre("connect", "disconnect 2 0", "disconnect after 'last words'", "delete", "destroyed"));
    EXPECT_THAT(mLog.Entries(), ElementsAre());
    EXPECT_THAT(end([](RawListener& peer, RecordingSocket&) { peer.ClosePeer(true); }),
                ElementsAre("connect", "disconnect 0 " + std::to_string(ECONNRESET), "disconnect after ''",
                            "delete", "destroyed"));
    EXPECT_THAT(mLog.Entries(), ElementsAre("abnormal value from recv"));
    EXPECT_THAT(end([this](RawListener&, RecordingSocket& socket) {
                    while (Logged("output buffer overflow") == 0) {
                        socket.Send(std::string(50000, 'x'));
                    }
                }),
                ElementsAre("connect", "disconnect 1 " + std::to_string(ENOBUFS), "disconnect after ''",
                            "delete", "destroyed"));
    EXPECT_THAT(mLog.Entries(), ElementsAre("output buffer overflow"));
}

TEST_F(Tcp, RecordsOfManySendersReachALatePeerWholeAndInOrder) {
    constexpr std::size_t kSenders = 4;
    constexpr int kRecords = 500;
    constexpr std::size_t kSize = 1000;
    constexpr std::size_t kTotal = kSize * kSenders * kRecords;
    const auto recordOf = [](std::size_t sender, int number) {
        std::string bytes = std::to_string(sender) + ":" + std::to_string(number) + ";";
        bytes.resize(kSize, static_cast<char>('a' + sender));
        return bytes;
    };
    RawListener listener(Kind::Listens);
    RecordingSocket& socket = AddConnected(listener, kTotal);
    const std::size_t ahead = FillSystemBuffers(socket.GetSocket());
    std::string received;
    RunBeside([&] {
        std::vector<std::future<void>> senders(kSenders);
        for (std::size_t sender = 0; sender < kSenders; ++sender) {
            senders[sender] = std::async(std::launch::async, [sender, &socket, &recordOf] {
                for (int i = 0; i < kRecords; ++i) {
                    socket.Send(recordOf(sender, i));
                }
            });
        }
        senders.clear();  // waits for them
        EXPECT_EQ(listener.Receive(ahead), std::string(ahead, '.'));
        received = listener.Receive(kTotal);
    });
    ASSERT_EQ(received.size(), kTotal);
    int next[kSenders] = {};
    for (std::size_t at = 0; at < received.size(); at += kSize) {
        const auto sender = static_cast<std::size_t>(received[at] - '0');
        ASSERT_LT(sender, kSenders) << "at " << at;
        ASSERT_EQ(received.substr(at, kSize), recordOf(sender, next[sender]++));
    }
    EXPECT_EQ(Logged("### SOCKET WOULD BLOCK\n### "), 1U);
}

TEST_F(Tcp, WhatIsLeftGoesBeforeTheSocketClosesButNotForEver) {
    constexpr std::size_t kSize = 3'000'000;
    const struct {
        const char* mName;
        bool mFlushes;
        bool mPeerReads;
        bool mIsUrgent;  ///< a byte of the peer's ends it
        int mLimitMs;
    } rows[] = {{"flushed", true, true, false, 5000},
                {"peer never reads", true, false, false, 100},
                {"urgent", true, false, true, 200},
                {"without", false, false, false, 5000}};
    const std::string bytes(kSize, 'b');
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mName);
        RawListener listener(Kind::Listens);
        StreamSocket::Times times = kShort;
        times.mFlushLimit = milliseconds(row.mLimitMs);
        RecordingSocket& socket = AddConnected(listener, kSize, times);
        socket.SetFlushBeforeClose(row.mFlushes);
        socket.Send(bytes);
        const auto begin = Clock::now();
        row.mIsUrgent ? listener.SendUrgent('!') : socket.SetCloseAndDelete();
        auto received = std::async(std::launch::async, [&listener, reads = row.mPeerReads] {
            return reads ? listener.Receive(kSize + 1) : "";
        });
        EXPECT_TRUE(RunToDestruction());
        EXPECT_EQ(Clock::now() - begin >= times.mFlushLimit, row.mFlushes && !row.mPeerReads);
        EXPECT_EQ(received.get() == bytes, row.mPeerReads);
        EXPECT_EQ(Logged("Sending all data before closing"), row.mFlushes ? 1U : 0U);
        EXPECT_EQ(Logged("graceful shutdown"), 1U);
        EXPECT_EQ(Logged("exception on select"), row.mIsUrgent ? 1U : 0U);
    }
}

TEST_F(Tcp, AnotherThreadEndsItInEveryState) {
    constexpr StreamSocket::Times kLong{milliseconds(60000), milliseconds(60000), milliseconds(100)};
    const struct {
        const char* mName;
        Kind mKind;
        const char* mEvent;  ///< of the record or the log, which tells that the state is reached
        bool mFlushes;
    } rows[] = {
        {"connecting", Kind::NeverAnswers, nullptr, false},
        {"waiting for a retry", Kind::Refuses, "connect: failed, reconnect pending", false},
        {"connected", Kind::Listens, "connect", false},
        {"flushing", Kind::Listens, "connect", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mName);
        const RawListener listener(row.mKind);
        RunBeside([&] {
            RecordingSocket& socket = AddClient(listener.Port(), -1, true, kLong);
            EXPECT_TRUE(Await([&] {
                return row.mEvent == nullptr || Logged(row.mEvent) > 0 || mRecord.Count(row.mEvent) > 0;
            }));
            for (int i = 0; row.mFlushes && i < 20; ++i) {
                socket.Send(std::string(13000, 'x'));
            }
            socket.SetConnectionRetry(0);
            socket.SetReconnect(false);
            socket.SetCloseAndDelete();
            EXPECT_TRUE(Await([this] { return mRecord.Count("destroyed") == 1; }));
        });
    }
}

TEST_F(Tcp, SendersAndReconnectionsGetAlongWithEachOther) {
    RawListener listener(Kind::Listens);
    StreamSocket::Times times = kShort;
    times.mRetryInterval = milliseconds(1);
    RecordingSocket& socket = AddClient(listener.Port(), -1, true, times, 0x10000000);
    RunBeside([&] {
        std::atomic<bool> stops{false};
        const auto sender = std::async(std::launch::async, [&] {
            while (!stops) {
                socket.SendBuf("12345678", 8);
            }
        });
        for (int i = 0; i < 20; ++i) {
            listener.Accept();
            EXPECT_EQ(listener.Receive(16).size(), 16U) << "connection " << i;
            listener.ClosePeer(i % 2 == 0);
        }
        stops = true;
    });
    EXPECT_GE(mRecord.Count("reconnect"), 18U);
    EXPECT_EQ(Logged("output buffer overflow"), 0U);
}

TEST_F(Tcp, AFullRingOrAPauseHoldsTheInputBackWithoutSpinning) {
    RawListener listener(Kind::Listens);
    RecordingSocket& socket = AddConnected(listener);
    const auto staysAsleep = [this] {
        const auto begin = Clock::now();
        return mHandler.Select(0, 50000) == 0 && Clock::now() - begin >= milliseconds(50);
    };
    socket.mTakesInput = false;
    const std::string bytes = std::string(1300, 'a') + std::string(1200, 'b');
    listener.Send(bytes);
    EXPECT_TRUE(RunUntil([&socket] { return !socket.WantsRead(); }));
    EXPECT_TRUE(staysAsleep());
    socket.mTakesInput = true;
    socket.TakeInput();
    EXPECT_TRUE(RunUntil([&] { return socket.mInput.size() >= bytes.size(); }));
    socket.SetReadPaused(true);
    listener.Send("later");
    EXPECT_TRUE(staysAsleep());
    const auto resumed = std::async(std::launch::async, [&socket] { socket.SetReadPaused(false); });
    EXPECT_TRUE(RunUntil([&] { return socket.mInput.size() > bytes.size(); }));
    EXPECT_EQ(socket.mInput, bytes + "later");
}

}  // namespace
