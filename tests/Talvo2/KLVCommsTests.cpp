#include <gmock/gmock.h>
#include <netinet/in.h>

#include <thread>

#include "Bytes.h"
#include "CapturedLog.h"
#include "DeskCommands.h"
#include "EventLoop.h"
#include "IOStream.h"
#include "RawTcpClient.h"
#include "TalvoCommandProcessor.h"
#include "TalvoKLVComms.h"
#include "TalvoSocketException.h"

using testing::ElementsAre;
using StreamType = iRouterKLVComms::StreamType;

namespace {

/// Command links on loopback, where link 1's network is 127.0.0.0 and link 0 has none. A router is at
/// 127.0.0.2: one at the box's own address is a simulated box.
class Comms : public testing::Test {
  protected:
    Comms() {
        mComms->StreamChanged().connect([this](unsigned char port, StreamType type, bool connected) {
            mChanges.push_back(std::to_string(port) + " " + std::to_string(static_cast<int>(type)) +
                               (connected ? " up" : " down"));
        });
    }

    static RouterPorts Ports() {
        RouterPorts ports;
        ports.mIo = 0;
        ports.mMaster = 0;
        ports.mInterfaces = {"brtest0", "lo"};
        return ports;
    }

    std::unique_ptr<RawTcpClient> Dial(std::uint16_t port, const char* from = "127.0.0.2") {
        return std::make_unique<RawTcpClient>(port, from);
    }

    /// As if it had come on the stream.
    template <class Command>
    void Dispatch(const Command& command, unsigned char port = 0, StreamType type = StreamType::Local) {
        IOStream stream;
        command.Write(stream);
        KLVCommandReadSet set(stream);
        mProcessor.Dispatch(set, port, type);
    }

    bool AwaitChanges(std::size_t count) {
        return RunUntil(mIo, [this, count] { return mChanges.size() >= count; });
    }

    CapturedLog mLog;
    boost::asio::io_service mIo;
    TalvoCommandProcessor mProcessor{mIo};
    std::unique_ptr<TalvoKLVComms> mComms = std::make_unique<TalvoKLVComms>(mIo, mProcessor, 2, Ports());
    std::vector<std::string> mChanges;
};

std::string SwapOf(std::uint32_t hid) {
    IOStream stream;
    IoSyncSwap swap;
    swap.mHid = hid;
    swap.Write(stream);
    return stream.Bytes();
}

}  // namespace

TEST_F(Comms, PutsStreamsInTheirPlacesAndSendsOnThem) {
    const auto local = Dial(mComms->IoPort());
    ASSERT_TRUE(AwaitChanges(1));
    const auto master = Dial(mComms->MasterPort());
    ASSERT_TRUE(AwaitChanges(2));
    EXPECT_THAT(mChanges, ElementsAre("1 0 up", "0 1 up"));
    EXPECT_TRUE(mComms->IsConnected(1, StreamType::Local));
    EXPECT_FALSE(mComms->IsConnected(0, StreamType::Local));

    IoActiveAudio command;
    command.mHid = 0x1F2A;
    command.mPort = 1;
    EXPECT_TRUE(mComms->SendCmdToPort(command, 1));
    EXPECT_EQ(local->Receive(14), BytesOf("27030028 06000000 2a1f0000 0100"));
    EXPECT_TRUE(mComms->SendCmdToMaster(IoSyncFail()));
    EXPECT_EQ(master->Receive(8), BytesOf("7c030028 00000000"));
    EXPECT_FALSE(mComms->SendCmdToPort(command, 0));
    EXPECT_FALSE(mComms->SendCmdToPort(command, 2));
    EXPECT_EQ(mLog.Count("KLV stream NOT present at Port 0, send request ignored\r\n"), 1U);
    EXPECT_EQ(mLog.Count("Invalid port number 2, must be in the range [0,2)\n"), 1U);
}

TEST_F(Comms, LetsANewStreamPushOutTheOld) {
    const auto old = Dial(mComms->IoPort());
    ASSERT_TRUE(AwaitChanges(1));
    const auto young = Dial(mComms->IoPort(), "127.0.0.3");
    EXPECT_TRUE(old->AwaitEnd());
    ASSERT_TRUE(AwaitChanges(2));
    ASSERT_TRUE(RunUntil(mIo, [this] { return mLog.Count("No matching Local stream for 127.0.0.2") == 1; }));
    EXPECT_TRUE(mComms->SendCmdToPort(IoSyncFail(), 1));
    EXPECT_EQ(young->Receive(8).size(), 8U);
    EXPECT_THAT(mChanges, ElementsAre("1 0 up", "1 0 up"));
}

TEST_F(Comms, EndsAStreamOnRequestAndReportsOneThatIsNotThere) {
    const auto router = Dial(mComms->IoPort());
    ASSERT_TRUE(AwaitChanges(1));
    mComms->Disconnect(1, StreamType::Local);
    EXPECT_TRUE(router->AwaitEnd());
    ASSERT_TRUE(AwaitChanges(2));
    mComms->Disconnect(1, StreamType::Local);
    ASSERT_TRUE(AwaitChanges(3));
    EXPECT_THAT(mChanges, ElementsAre("1 0 up", "1 0 down", "1 0 down"));
    mComms->Disconnect(2, StreamType::Local);
    EXPECT_EQ(mLog.Count("Port < mStreams.size()"), 1U);
}

TEST_F(Comms, KeepsSimulatedBoxesApartAndNoMoreThanSome) {
    std::vector<std::unique_ptr<RawTcpClient>> boxes;
    boxes.push_back(Dial(mComms->IoPort(), "127.0.0.1"));
    boxes.front()->Send(SwapOf(1));
    ASSERT_TRUE(RunUntil(mIo, [this] {
        return mLog.Count("Stream 127.0.0.1 unknown to TalvoKLVComms, skipping command dispatch\n") == 1;
    }));
    while (boxes.size() <= TalvoKLVComms::kMaxOutside) {
        boxes.push_back(Dial(mComms->IoPort(), "127.0.0.1"));
    }
    EXPECT_TRUE(boxes.front()->AwaitEnd());
    EXPECT_THAT(mChanges, ElementsAre());
}

TEST_F(Comms, ForgetsAStreamWhateverItsPortsAre) {
    {
        // A router's own port may be the updater's number.
        const RawTcpClient router(mComms->IoPort(), "127.0.0.2", Ports().mUpdater);
        ASSERT_TRUE(AwaitChanges(1));
    }
    ASSERT_TRUE(AwaitChanges(2));
    EXPECT_FALSE(mComms->IsConnected(1, StreamType::Local));
    EXPECT_FALSE(mComms->SendCmdToPort(IoSyncFail(), 1));
}

TEST_F(Comms, DeliversAFloodInOrderAndHoldsItsSourceBack) {
    constexpr std::uint32_t kCommands = 25000;
    std::vector<std::uint32_t> heard;
    mProcessor.Register<IoSyncSwap>(IoSyncSwap::kId,
                                    [&](const auto& command, unsigned char port, StreamType type) {
                                        EXPECT_TRUE(port == 1 && type == StreamType::Local);
                                        heard.push_back(command->mHid);
                                    });
    const auto router = Dial(mComms->IoPort());
    ASSERT_TRUE(AwaitChanges(1));
    std::string flood;
    for (std::uint32_t hid = 0; hid < kCommands; ++hid) {
        flood += SwapOf(hid);
    }
    std::thread sender([&] { router->Send(flood); });
    ASSERT_TRUE(RunUntil(mIo, [&] { return heard.size() == kCommands; }));
    sender.join();
    for (std::uint32_t hid = 0; hid < kCommands; ++hid) {
        ASSERT_EQ(heard[hid], hid);
    }
}

TEST(CommandBacklogs, PauseReadingAtTheirBoundsUntilHalfIsWorkedOff) {
    StdoutLog log;
    SocketHandler handler(log);
    Socket socket(handler);
    const auto total = std::make_shared<std::atomic<std::size_t>>(0);
    const auto backlog = std::make_shared<CommandBacklog>(socket, total);
    std::vector<CommandBacklog::Ticket> tickets;
    while (tickets.size() + 1 < CommandBacklog::kMaxCommands) {
        tickets.push_back(backlog->Enter(1));
    }
    EXPECT_FALSE(socket.IsReadPaused());
    tickets.push_back(backlog->Enter(1));
    EXPECT_TRUE(socket.IsReadPaused());
    while (tickets.size() > CommandBacklog::kMaxCommands / 2 + 1) {
        tickets.pop_back();
    }
    EXPECT_TRUE(socket.IsReadPaused());
    tickets.pop_back();
    EXPECT_FALSE(socket.IsReadPaused());
    tickets.push_back(backlog->Enter(CommandBacklog::kMaxBytes));
    EXPECT_TRUE(socket.IsReadPaused());
    backlog->Detach();
    EXPECT_GT(total->load(), CommandBacklog::kMaxBytes);
    tickets.clear();
    EXPECT_EQ(total->load(), 0U);
    EXPECT_TRUE(socket.IsReadPaused()) << "the stream is gone";
}

TEST_F(Comms, RefusesToStartOnATakenPort) {
    RouterPorts ports = Ports();
    ports.mMaster = mComms->IoPort();
    EXPECT_THAT([&] { TalvoKLVComms(mIo, mProcessor, 2, ports); },
                testing::ThrowsMessage<TalvoSocketException>(
                    "Unable to bind Master router KLV listener to port " + std::to_string(ports.mMaster)));
}

TEST_F(Comms, DialsWhereItIsTold) {
    // The box dials its own I/O port number at the router; here the other end is another box.
    mComms->Connect(INADDR_LOOPBACK);
    ASSERT_TRUE(RunUntil(mIo, [this] { return mLog.Count("Adding simulated box KLV stream\n") == 2; }))
        << "both ends";
}

TEST_F(Comms, DeliversInOrderOnTheEventLoopWhatIsSubscribedTo) {
    IoSyncSwap swap;
    mLog.Enable(Feature::CmdDebug);
    Dispatch(swap);
    EXPECT_EQ(mLog.Lines().back(), "Nothing registered for IO_SYNC_SWAP, skipping to end of data\n");
    std::vector<std::string> heard;
    mProcessor.Register<IoSyncSwap>(
        IoSyncSwap::kId, [&](const auto& command, unsigned char port, StreamType type) {
            heard.push_back(std::to_string(command->mHid) + " " + std::to_string(port) + " " +
                            std::to_string(static_cast<int>(type)));
        });
    mProcessor.Register<IoSyncFail>(
        IoSyncFail::kId, [&](const auto&, unsigned char, StreamType) { heard.emplace_back("fail"); });
    swap.mHid = 7;
    Dispatch(swap, 1, StreamType::Master);
    Dispatch(IoSyncFail());
    swap.mHid = 8;
    Dispatch(swap);
    EXPECT_THAT(heard, ElementsAre()) << "not before the event loop runs";
    mIo.poll();
    EXPECT_THAT(heard, ElementsAre("7 1 1", "fail", "8 0 0"));
}

TEST_F(Comms, RefusesASecondClassForACommand) {
    int heard = 0;
    const auto count = [&heard](const auto&, unsigned char, StreamType) {
        ++heard;
    };
    mProcessor.Register<IoInfoReq>(IoInfoReq::kId, count);
    EXPECT_FALSE(mProcessor.Register<IoSyncFail>(IoInfoReq::kId, count).connected());
    EXPECT_EQ(mLog.Count("Failed to get signal for Command 10IoSyncFail: "), 1U);
    Dispatch(IoInfoReq());
    mIo.poll();
    EXPECT_EQ(heard, 1);
}
