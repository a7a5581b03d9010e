#include "TcpSocket.h"

#include <poll.h>

#include <cerrno>
#include <functional>

#include "ListenSocket.h"
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
        auto socket = std::make_unique<RecordingSocket>(mHandler, mRecord, 1000, outputSize);
        socket->SetTimes(times);
        socket->SetConnectionRetry(retries);
        socket->SetReconnect(reconnect);
        socket->SetDeleteByHandler();
        EXPECT_TRUE(socket->Open("127.0.0.1", port));
        mHandler.Add(socket.get());
        return *socket.release();
    }

    RecordingSocket& AddConnected(RawListener& listener, std::size_t outputSize = 0x40000) {
        RecordingSocket& socket = AddClient(listener.Port(), 0, false, kShort, outputSize);
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
    for (bool hasSettled = false; !hasSettled;) {
        pollfd room{descriptor, POLLOUT, 0};
        hasSettled = poll(&room, 1, kSettlingMs) == 0;
        ssize_t sent = 0;
        while ((sent = send(descriptor, dots.data(), dots.size(), MSG_DONTWAIT)) > 0) {
            total += static_cast<std::size_t>(sent);
            hasSettled = false;
        }
    }
    return total;
}

TEST_F(Tcp, AFailingConnectionIsTriedAgainAsOftenAsAllowedAndAtItsInterval) {
    const struct {
        const char* mName;
        Kind mKind;
        int mRetries;
        const char* mPending;
        const char* mEnd;
        int mLeastMs;
    } rows[] = {
        {"refused", Kind::Refuses, 0, "connect: failed, reconnect pending", "connect: failed", 0},
        {"refused, two retries", Kind::Refuses, 2, "connect: failed, reconnect pending", "connect: failed",
         40},
        {"no answer", Kind::NeverAnswers, 0, "connect timeout, reconnect pending", "connect timeout", 60},
        {"no answer, one retry", Kind::NeverAnswers, 1, "connect timeout, reconnect pending",
         "connect timeout", 140},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mName);
        const RawListener listener(row.mKind);
        const std::size_t before = Logged(row.mPending);
        const std::size_t endsBefore = Logged(row.mEnd);
        const std::size_t destroyed = mRecord.Count("destroyed");
        const auto begin = Clock::now();
        AddClient(listener.Port(), row.mRetries);
        EXPECT_TRUE(RunUntil([&] { return mRecord.Count("destroyed") > destroyed; }));
        EXPECT_GE(Clock::now() - begin, milliseconds(row.mLeastMs));
        EXPECT_EQ(Logged(row.mPending) - before, static_cast<std::size_t>(row.mRetries));
        EXPECT_EQ(Logged(row.mEnd) - endsBefore, 1U);
    }
    EXPECT_EQ(mRecord.Count("failed"), 4U);
    EXPECT_EQ(mRecord.Count("delete"), 4U);
    EXPECT_EQ(mHandler.GetCount(), 0U);
}

TEST_F(Tcp, WithEndlessRetriesItGetsThroughOnceThePeerListensAndSendsWhatWaited) {
    RawListener listener(Kind::Refuses);
    RecordingSocket& socket = AddClient(listener.Port(), -1);
    socket.Send("first ");
    EXPECT_TRUE(RunUntil([this] { return Logged("connect: failed, reconnect pending") >= 3; }));
    socket.Send("second ");
    EXPECT_EQ(Logged("Attempt to write to a non-connected socket, will be sent on connect"), 2U);
    listener.Listen(5);
    EXPECT_TRUE(RunUntil([this] { return mRecord.Count("connect") == 1; }));
    socket.Send("third");
    listener.Accept();
    EXPECT_EQ(listener.Receive(18), "first second third");
}

TEST_F(Tcp, AClientThatReconnectsComesBackWithoutTheOldBytes) {
    RawListener listener(Kind::Listens);
    RecordingSocket& socket = AddClient(listener.Port(), 0, true);
    EXPECT_TRUE(RunUntil([this] { return mRecord.Count("connect") == 1; }));
    socket.mTakesInput = false;
    listener.Accept();
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
    using Act = std::function<void(RawListener&, RecordingSocket&)>;
    const struct {
        const char* mName;
        std::string mEvent;
        std::string mInput;
        Act mAct;
    } rows[] = {
        {"orderly end", "disconnect 2 0", "last words",
         [](RawListener& peer, RecordingSocket&) {
             peer.Send("last words");
             peer.ClosePeer();
         }},
        {"reset", "disconnect 0 " + std::to_string(ECONNRESET), "",
         [](RawListener& peer, RecordingSocket&) {
             peer.ClosePeer(true);
         }},
        {"overflow while writing", "disconnect 1 " + std::to_string(ENOBUFS), "",
         [](RawListener&, RecordingSocket& socket) {
             const std::string lump(50000, 'x');
             for (int i = 0; i < 1000 && socket.Handler().Holds(&socket); ++i) {
                 socket.Send(lump);
             }
         }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mName);
        RawListener listener(Kind::Listens);
        Record record;
        auto socket = std::make_unique<RecordingSocket>(mHandler, record, 1000, 60000);
        ASSERT_TRUE(socket->Open("127.0.0.1", listener.Port()));
        mHandler.Add(socket.get());
        EXPECT_TRUE(RunUntil([&record] { return record.Count("connect") == 1; }));
        listener.Accept();
        row.mAct(listener, *socket);
        EXPECT_TRUE(RunUntil([&] { return !mHandler.Holds(socket.get()); }));
        EXPECT_THAT(record.Entries(),
                    ElementsAre("connect", row.mEvent, "disconnect after '" + row.mInput + "'", "delete"));
        socket->Send("too late");
        EXPECT_EQ(socket->GetSocket(), -1);
    }
    EXPECT_EQ(Logged("output buffer overflow"), 1U);
    EXPECT_EQ(Logged("Sending all data before closing"), 0U);
    EXPECT_EQ(Logged("abnormal value from recv"), 1U);
}

TEST_F(Tcp, RecordsOfManySendersReachALatePeerWholeAndInOrder) {
    constexpr int kSenders = 4;
    constexpr int kRecords = 500;
    constexpr std::size_t kSize = 1000;
    constexpr std::size_t kTotal = kSize * kSenders * kRecords;
    RawListener listener(Kind::Listens);
    RecordingSocket& socket = AddConnected(listener, kTotal);
    const std::size_t ahead = FillSystemBuffers(socket.GetSocket());
    std::string received;
    RunBeside([&] {
        std::vector<std::thread> senders;
        senders.reserve(kSenders);
        for (int sender = 0; sender < kSenders; ++sender) {
            senders.emplace_back([sender, &socket] {
                for (int i = 0; i < kRecords; ++i) {
                    std::string bytes = std::to_string(sender) + ":" + std::to_string(i) + ";";
                    bytes.resize(kSize, static_cast<char>('a' + sender));
                    socket.Send(bytes);
                }
            });
        }
        for (std::thread& sender : senders) {
            sender.join();
        }
        EXPECT_EQ(listener.Receive(ahead), std::string(ahead, '.'));
        received = listener.Receive(kTotal);
    });
    ASSERT_EQ(received.size(), kTotal);
    int next[kSenders] = {};
    for (std::size_t at = 0; at < received.size(); at += kSize) {
        const int sender = received[at] - '0';
        ASSERT_TRUE(sender >= 0 && sender < kSenders) << "at " << at;
        std::string expected = std::to_string(sender) + ":" + std::to_string(next[sender]++) + ";";
        expected.resize(kSize, static_cast<char>('a' + sender));
        ASSERT_EQ(received.substr(at, kSize), expected);
    }
    EXPECT_EQ(Logged("### SOCKET WOULD BLOCK\n### "), 1U);
}

TEST_F(Tcp, WhatIsLeftGoesBeforeTheSocketClosesButNotForEver) {
    constexpr std::size_t kSize = 3'000'000;
    const struct {
        const char* mName;
        bool mFlushes;
        bool mPeerReads;
        int mLimitMs;
    } rows[] = {{"flushed", true, true, 5000},
                {"peer never reads", true, false, 100},
                {"without", false, false, 5000}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mName);
        RawListener listener(Kind::Listens);
        const std::size_t destroyed = mRecord.Count("destroyed");
        const std::size_t connects = mRecord.Count("connect");
        const std::size_t waits = Logged("Sending all data before closing");
        StreamSocket::Times times = kShort;
        times.mFlushLimit = milliseconds(row.mLimitMs);
        RecordingSocket& socket = AddClient(listener.Port(), 0, false, times, kSize);
        ASSERT_TRUE(RunUntil([&] { return mRecord.Count("connect") > connects; }));
        listener.Accept();
        socket.SetFlushBeforeClose(row.mFlushes);
        const std::string bytes(kSize, 'b');
        socket.Send(bytes);
        const auto begin = Clock::now();
        socket.SetCloseAndDelete();
        std::string received;
        std::thread reader([&] { received = row.mPeerReads ? listener.Receive(kSize + 1) : ""; });
        EXPECT_TRUE(RunUntil([&] { return mRecord.Count("destroyed") > destroyed; }));
        const auto took = Clock::now() - begin;
        reader.join();
        EXPECT_EQ(received == bytes, row.mPeerReads);
        EXPECT_EQ(Logged("Sending all data before closing") - waits, row.mFlushes ? 1U : 0U);
        if (row.mFlushes && !row.mPeerReads) {
            EXPECT_GE(took, times.mFlushLimit);
        } else {
            EXPECT_LT(took, times.mFlushLimit);
        }
    }
    EXPECT_EQ(Logged("graceful shutdown"), 3U);
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
            const std::size_t events = row.mEvent == nullptr ? 0 : mRecord.Count(row.mEvent);
            RecordingSocket& socket = AddClient(listener.Port(), -1, true, kLong);
            EXPECT_TRUE(Await([&] {
                return row.mEvent == nullptr || Logged(row.mEvent) > 0 || mRecord.Count(row.mEvent) > events;
            }));
            for (int i = 0; row.mFlushes && i < 20; ++i) {
                socket.Send(std::string(13000, 'x'));
            }
            socket.SetConnectionRetry(0);
            socket.SetReconnect(false);
            socket.SetCloseAndDelete();
            EXPECT_TRUE(Await([this] { return mHandler.GetCount() == 0; }));
        });
    }
    EXPECT_EQ(mRecord.Count("destroyed"), 4U);
    EXPECT_EQ(mRecord.Count("delete"), 4U);
    RecordingSocket neverAdded(mHandler, mRecord);
    neverAdded.SetCloseAndDelete();
    EXPECT_TRUE(neverAdded.CloseAndDelete());
}

TEST_F(Tcp, SendersAndReconnectionsGetAlongWithEachOther) {
    RawListener listener(Kind::Listens);
    StreamSocket::Times times = kShort;
    times.mRetryInterval = milliseconds(1);
    RecordingSocket& socket = AddClient(listener.Port(), -1, true, times, 0x10000000);
    RunBeside([&] {
        std::atomic<bool> stops{false};
        std::thread sender([&] {
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
        sender.join();
    });
    EXPECT_GE(mRecord.Count("reconnect"), 18U);
    EXPECT_EQ(Logged("output buffer overflow"), 0U);
}

TEST_F(Tcp, AFullRingWaitsForItsReaderWithoutSpinning) {
    RawListener listener(Kind::Listens);
    RecordingSocket& socket = AddConnected(listener);
    socket.mTakesInput = false;
    std::string bytes(2500, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>('a' + i % 23);
    }
    listener.Send(bytes);
    EXPECT_TRUE(RunUntil([&socket] { return !socket.WantsRead(); }));
    const auto begin = Clock::now();
    EXPECT_EQ(mHandler.Select(0, 50000), 0);
    EXPECT_GE(Clock::now() - begin, milliseconds(50));
    socket.mTakesInput = true;
    socket.TakeInput();
    EXPECT_TRUE(RunUntil([&] { return socket.mInput.size() >= bytes.size(); }));
    EXPECT_EQ(socket.mInput, bytes);
}

TEST_F(Tcp, APausedSocketIsReadAgainWhenAnotherThreadResumesIt) {
    RawListener listener(Kind::Listens);
    RecordingSocket& socket = AddConnected(listener);
    socket.SetReadPaused(true);
    listener.Send("later");
    EXPECT_EQ(mHandler.Select(0, 50000), 0);
    std::thread resumes([&socket] { socket.SetReadPaused(false); });
    EXPECT_TRUE(RunUntil([&socket] { return !socket.mInput.empty(); }));
    resumes.join();
    EXPECT_EQ(socket.mInput, "later");
}

TEST_F(Tcp, AnAddressThatIsNoneFailsAtOnce) {
    RecordingSocket socket(mHandler, mRecord);
    EXPECT_FALSE(socket.Open("256.0.0.1", 1));
    EXPECT_EQ(Logged("connect: failed"), 1U);
    socket.Send("x");
    EXPECT_EQ(Logged("Attempt to write to a non-ready socket"), 1U);
}

}  // namespace
