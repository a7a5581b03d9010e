#include "TalvoCommandProcessor.h"

#include <gmock/gmock.h>

#include "CapturedLog.h"
#include "DeskCommands.h"
#include "IOStream.h"

using testing::ElementsAre;
using StreamType = iRouterKLVComms::StreamType;

namespace {

class CommandProcessor : public testing::Test {
  protected:
    template <class Command>
    void Dispatch(const Command& command, unsigned char port = 0, StreamType type = StreamType::Local) {
        IOStream stream;
        command.Write(stream);
        KLVCommandReadSet set(stream);
        mProcessor.Dispatch(set, port, type);
    }

    CapturedLog mLog;
    boost::asio::io_service mIo;
    TalvoCommandProcessor mProcessor{mIo};
};

}  // namespace

TEST_F(CommandProcessor, DeliversInOrderOnTheEventLoop) {
    std::vector<std::string> heard;
    const boost::signals2::scoped_connection swaps = mProcessor.Register<IoSyncSwap>(
        IoSyncSwap::kId, [&](const auto& command, unsigned char port, StreamType type) {
            heard.push_back(std::to_string(command->mHid) + " " + std::to_string(port) + " " +
                            std::to_string(static_cast<int>(type)));
        });
    const boost::signals2::scoped_connection fails = mProcessor.Register<IoSyncFail>(
        IoSyncFail::kId, [&](const auto&, unsigned char, StreamType) { heard.emplace_back("fail"); });
    IoSyncSwap swap;
    swap.mHid = 7;
    Dispatch(swap, 1, StreamType::Master);
    Dispatch(IoSyncFail());
    swap.mHid = 8;
    Dispatch(swap);
    EXPECT_THAT(heard, ElementsAre());
    mIo.poll();
    EXPECT_THAT(heard, ElementsAre("7 1 1", "fail", "8 0 0"));
}

TEST_F(CommandProcessor, SkipsWhatNobodyHasSubscribedToYet) {
    mLog.Enable(Feature::CmdDebug);
    IoSyncSwap swap;
    Dispatch(swap);
    bool isHeard = false;
    mProcessor.Register<IoSyncSwap>(IoSyncSwap::kId,
                                    [&](const auto&, unsigned char, StreamType) { isHeard = true; });
    EXPECT_EQ(mIo.poll(), 0U);
    EXPECT_FALSE(isHeard);
    EXPECT_THAT(mLog.Lines(), ElementsAre("Nothing registered for IO_SYNC_SWAP, skipping to end of data\n"));
}

TEST_F(CommandProcessor, RefusesASecondClassForACommand) {
    mProcessor.Register<IoInfoReq>(IoInfoReq::kId, [](const auto&, unsigned char, StreamType) {});
    const auto connection =
        mProcessor.Register<IoSyncFail>(IoInfoReq::kId, [](const auto&, unsigned char, StreamType) {});
    EXPECT_FALSE(connection.connected());
    EXPECT_EQ(mLog.Count("Failed to get signal for Command 10IoSyncFail: "), 1U);
}
