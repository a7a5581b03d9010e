#include "SocketHandler.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdio>

#include "ListenSocket.h"
#include "RawTcpClient.h"
#include "SocketFixture.h"
#include "StdoutLog.h"

using testing::ElementsAre;

namespace {

class Handler : public HandlerFixture {
  protected:
    std::unique_ptr<RecordingSocket> MakeSocket() {
        return std::make_unique<RecordingSocket>(mHandler, mRecord);
    }
};

/// Takes all descriptors away for its lifetime: no more can be opened.
class NoDescriptors {
  public:
    NoDescriptors() {
        getrlimit(RLIMIT_NOFILE, &mBefore);
        const int next = dup(STDOUT_FILENO);
        close(next);
        const rlimit limit{static_cast<rlim_t>(next), mBefore.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    }
    ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &mBefore); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

  private:
    rlimit mBefore{};
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
    EXPECT_THAT(mLog.mReports.Entries(),
                ElementsAre("Invalid socket", "Attempt to add socket already in add queue",
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
    for (Socket* socket : {static_cast<Socket*>(destroyer), static_cast<Socket*>(victim),
                           static_cast<Socket*>(staying.get())}) {
        mHandler.Add(socket);
    }
    mHandler.Select(0, 0);  // they are accepted
    ASSERT_EQ(write(ends[0], "x", 1), 1);
    EXPECT_TRUE(RunUntil([this] { return mHandler.GetCount() == 1; }));
    EXPECT_EQ(Logged("Socket destructor called while still in use"), 2U);
    close(ends[0]);
}

TEST_F(Handler, ItsEndDeletesItsOwnSocketsOnly) {
    RecordingLog log;
    Record record;
    auto handler = std::make_unique<SocketHandler>(log);
    auto* const served = new RecordingSocket(*handler, record);
    auto* const queued = new RecordingSocket(*handler, record);
    auto owned = std::make_unique<RecordingSocket>(mHandler, mRecord);
    served->SetDeleteByHandler();
    queued->SetDeleteByHandler();
    handler->Add(served);
    handler->Add(owned.get());
    handler->Select(0, 0);
    handler->Add(queued);
    handler.reset();
    EXPECT_THAT(record.Entries(), ElementsAre("delete", "destroyed", "delete", "destroyed"));
    EXPECT_THAT(mRecord.Entries(), ElementsAre("delete"));
}

TEST_F(Handler, AWakeFromAnotherThreadIsNeverLost) {
    constexpr int kRounds = 2000;
    std::atomic<int> asked{0};
    std::atomic<int> answered{0};
    std::thread other([&] {
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
    other.join();
}

TEST_F(Handler, ASignalDoesNotEndTheWait) {
    struct sigaction ignoring {};
    struct sigaction before {};
    ignoring.sa_handler = [](int) {
    };
    sigaction(SIGUSR1, &ignoring, &before);
    std::atomic<bool> isDone{false};
    std::thread sender([&isDone, loop = pthread_self()] {
        while (!isDone) {
            pthread_kill(loop, SIGUSR1);
            std::this_thread::yield();
        }
    });
    const auto begin = Clock::now();
    EXPECT_EQ(mHandler.Select(0, 100000), 0);
    EXPECT_GE(Clock::now() - begin, milliseconds(100));
    isDone = true;
    sender.join();
    sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(Handler, AListenerWithoutDescriptorsRestsAndThenAcceptsAfterAll) {
    ListenSocket<AcceptedSocket> listener(mHandler);
    ASSERT_EQ(listener.Bind(0, 5), 0);
    mHandler.Add(&listener);
    mHandler.Add(&listener);
    // The sanitizers look at a type with descriptors of their own when they first meet it.
    EXPECT_TRUE(RunUntil([this] { return Logged("Attempt to add socket already in add queue") == 1; }));
    mHandler.Select(0, 0);
    RawTcpClient client(listener.Port());
    {
        const NoDescriptors none;
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

TEST_F(Handler, RefusedOptionsAreLoggedByName) {
    const auto socket = MakeSocket();
    EXPECT_FALSE(socket->SetSoReuseaddr() || socket->SetSoLinger(true, 1) || socket->SetTcpNodelay());
    EXPECT_THAT(mLog.mReports.Entries(),
                ElementsAre("setsockopt(SOL_SOCKET, SO_REUSEADDR)", "setsockopt(SOL_SOCKET, SO_LINGER)",
                            "setsockopt(IPPROTO_TCP, TCP_NODELAY)"));
}

TEST(StdoutLog, PrintsALineForEachReport) {
    testing::internal::CaptureStdout();
    StdoutLog().Report(nullptr, "connect", 111, "Connection refused", StdLog::Level::Warning);
    std::fflush(stdout);
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} :: fd -1 :: "
                                      "connect: 111 Connection refused \\(Warning\\)\n"));
}

}  // namespace
