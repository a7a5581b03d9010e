#include "SocketHandler.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <csignal>

#include "FewDescriptors.h"
#include "ListenSocket.h"
#include "RawTcpClient.h"
#include "SocketFixture.h"

using testing::ElementsAre;

namespace {

class Handler : public HandlerFixture {
  protected:
    std::unique_ptr<RecordingSocket> MakeSocket() {
        return std::make_unique<RecordingSocket>(mHandler, mRecord);
    }
};

class AcceptedSocket : public TcpSocket {
  public:
    explicit AcceptedSocket(ISocketHandler& handler) : TcpSocket(handler, 100, 100) {}
    void OnAccept() override { Send("welcome"); }
};

TEST_F(Handler, RefusesWhatItCannotServeAndSaysWhy) {
    const auto socket = MakeSocket();
    mHandler.Add(nullptr);
    mHandler.Add(socket.get());
    mHandler.Add(socket.get());
    mHandler.Select(0, 0);
    mHandler.Add(socket.get());
    auto closing = MakeSocket();
    closing->SetDeleteByHandler();
    closing->SetCloseAndDelete();
    mHandler.Add(closing.release());
    mHandler.Select(0, 0);
    EXPECT_THAT(mLog.Entries(), ElementsAre("Invalid socket", "Attempt to add socket already in add queue",
                                            "Attempt to add socket already in controlled queue",
                                            "Trying to add socket with SetCloseAndDelete() true"));
    EXPECT_THAT(mRecord.Entries(), ElementsAre("delete", "destroyed"));
    EXPECT_TRUE(mHandler.Holds(socket.get()));
    EXPECT_EQ(mHandler.GetCount(), 1U);
}

TEST_F(Handler, ADescriptorBeyondSelectIsRefusedClosedAndDeleted) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_max <= FD_SETSIZE + 10) {
        GTEST_SKIP() << "no more than " << limit.rlim_max << " descriptors to be had";
    }
    const rlimit raised{FD_SETSIZE + 10, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &raised), 0);
    const int high = fcntl(STDOUT_FILENO, F_DUPFD, FD_SETSIZE);
    ASSERT_GE(high, FD_SETSIZE);
    auto socket = MakeSocket();
    socket->AttachAccepted(high);
    socket->SetDeleteByHandler();
    mHandler.Add(socket.release());
    mHandler.Select(0, 0);
    EXPECT_EQ(Logged("FD_SETSIZE reached"), 1U);
    EXPECT_THAT(mRecord.Entries(), ElementsAre("delete", "destroyed"));
    EXPECT_EQ(fcntl(high, F_GETFD), -1);
    setrlimit(RLIMIT_NOFILE, &limit);
}

TEST_F(Handler, ForgetsASocketThatIsDestroyedWhileItIsHeld) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    // Destroys the other, and itself, when it has something to read.
    class Destroyer : public TcpSocket {
      public:
        Destroyer(ISocketHandler& handler, Socket* other) : TcpSocket(handler, 10, 10), mOther(other) {}
        void OnRead() override {
            delete mOther;
            delete this;
        }
        Socket* mOther;
    };
    const auto staying = MakeSocket();
    auto* const victim = MakeSocket().release();
    auto* const destroyer = new Destroyer(mHandler, victim);
    victim->AttachAccepted(dup(ends[1]));
    destroyer->AttachAccepted(ends[1]);
    mHandler.Add(destroyer);
    mHandler.Add(victim);
    mHandler.Add(staying.get());
    mHandler.Select(0, 0);  // they are accepted
    ASSERT_EQ(write(ends[0], "x", 1), 1);
    EXPECT_TRUE(RunUntil([this] { return mHandler.GetCount() == 1; }));
    EXPECT_EQ(Logged("Socket destructor called while still in use"), 2U);
    close(ends[0]);
}

TEST_F(Handler, ItsEndDeletesItsOwnSocketsOnly) {
    Record record;
    auto handler = std::make_unique<SocketHandler>(mLog);
    const auto owned = MakeSocket();
    handler->Add(owned.get());
    for (int i = 0; i < 2; ++i) {  // the second waits to be served
        handler->Select(0, 0);
        auto socket = std::make_unique<RecordingSocket>(*handler, record);
        socket->SetDeleteByHandler();
        handler->Add(socket.release());
    }
    handler.reset();
    EXPECT_THAT(record.Entries(), ElementsAre("delete", "destroyed", "delete", "destroyed"));
    EXPECT_THAT(mRecord.Entries(), ElementsAre("delete"));
}

TEST_F(Handler, AWakeFromAnotherThreadIsNeverLost) {
    constexpr int kRounds = 2000;
    std::atomic<int> asked{0};
    std::atomic<int> answered{0};
    const auto other = std::async(std::launch::async, [&] {
        for (int round = 1; round <= kRounds; ++round) {
            asked = round;
            mHandler.Wake();
            EXPECT_TRUE(Await([&] { return answered == round; })) << "round " << round;
        }
    });
    EXPECT_TRUE(RunUntil([&] {
        answered = asked.load();
        return answered == kRounds;
    }));
}

TEST_F(Handler, ASignalDoesNotEndTheWait) {
    auto* const before = std::signal(SIGALRM, [](int) {});
    const itimerval soon{{0, 0}, {0, 20000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    const auto begin = Clock::now();
    EXPECT_EQ(mHandler.Select(0, 100000), 0);
    EXPECT_GE(Clock::now() - begin, milliseconds(100));
    std::signal(SIGALRM, before);
}

TEST_F(Handler, AListenerWithoutDescriptorsRestsAndThenAcceptsAfterAll) {
    ListenSocket<AcceptedSocket> listener(mHandler);
    ASSERT_EQ(listener.Bind(0, 5), 0);
    mHandler.Add(&listener);
    mHandler.Add(&listener);
    // The sanitizers look at a type with descriptors of their own when they first meet it.
    EXPECT_TRUE(RunUntil([this] { return Logged("Attempt to add socket already in add queue") == 1; }));
    listener.SetReadPaused(false);
    mHandler.Select(0, 0);
    RawTcpClient client(listener.Port());
    {
        const FewDescriptors none(0);
        const auto begin = Clock::now();
        EXPECT_TRUE(RunUntil([this] { return Logged("accept") == 3; }));
        EXPECT_GE(Clock::now() - begin, milliseconds(200));
    }
    EXPECT_TRUE(RunUntil([this] { return mHandler.GetCount() == 2; }));
    mHandler.Select(0, 0);
    EXPECT_EQ(client.Receive(7), "welcome");
    listener.SetCloseAndDelete();
    EXPECT_TRUE(RunUntil([&] { return !mHandler.Holds(&listener); }));
}

}  // namespace
