#include "DeskCommands.h"

#include <gmock/gmock.h>

#include <functional>

#include "Bytes.h"
#include "CommandNames.h"
#include "IOStream.h"

namespace {

struct Message {
    const char* mName;
    std::string mHex;  ///< key, length, value
    std::function<std::string(const std::string& bytes, bool& isWhole)> mReadAndWrite;
};

/// A message read as a `Command` that is written again; `isWhole` where reading took all of it.
template <class Command>
std::string ReadAndWrite(const std::string& bytes, bool& isWhole) {
    IOStream in(bytes);
    Command command;
    {
        KLVCommandReadSet set(in);
        command.Read(set);
        isWhole = set.Left() == 0 && set.GetCommandId() == Command::kId;
    }
    IOStream out;
    command.Write(out);
    return out.Bytes();
}

/// One of each command, with a value of its own in every field.
const std::vector<Message>& Messages() {
    static const std::vector<Message> kMessages{
        {"IO_INFO_REQ", "20030028 00000000", ReadAndWrite<IoInfoReq>},
        {"IO_INFO", "21030028 1f000000 2a1f0000 00 06000000 4b5834303933 00000000 00000000 00000000 00000000",
         ReadAndWrite<IoInfo>},
        {"IO_SET_INPUT_PARAMS", "22030028 13000000 01000000 0700 9cffffff 11 01 1801 e8fd 30fd 29",
         ReadAndWrite<IoSetInputParams>},
        {"IO_ACTIVE_ROUTER", "26030028 00000000", ReadAndWrite<IoActiveRouter>},
        {"IO_ACTIVE_AUDIO", "27030028 06000000 2a1f0000 0100", ReadAndWrite<IoActiveAudio>},
        {"IO_SET_OUTPUT_GAIN", "28030028 0a000000 01000000 0300 88ffffff", ReadAndWrite<IoSetOutputGain>},
        {"IO_SET_PORT_BITMAP",
         "2f030028 22000000 01000000 ffffffff 0200 04030201 0500 02000000 0100 44332211 07 0301 ddccbbaa 08",
         ReadAndWrite<PortBitmapCmd>},
        {"IO_MUTE_OUTPUT", "30034028 07000000 01000000 0500 01", ReadAndWrite<IoOutputMuteCmd>},
        {"IO_SAMPLE_CAPABILITIES",
         "6a030028 1c000000 2a1f0000 02000000 04000000 00000000 01000000 02000000 03000000",
         ReadAndWrite<IoSampleRateCapabilities>},
        {"IO_SET_SAMPLE_RATE", "6b030028 09000000 03 78563412 f4010000", ReadAndWrite<IoSetSampleRateCmd>},
        {"IO_SYNC_SWAP", "7b030028 04000000 78563412", ReadAndWrite<IoSyncSwap>},
        {"IO_SYNC_FAIL", "7c030028 00000000", ReadAndWrite<IoSyncFail>},
    };
    return kMessages;
}

template <class Command>
std::string Written(const Command& command) {
    IOStream stream;
    command.Write(stream);
    return HexOf(stream.Bytes());
}

PortBitmapCmd BitmapOf(const std::string& hex) {
    IOStream stream(BytesOf(hex));
    PortBitmapCmd command;
    KLVCommandReadSet set(stream);
    command.Read(set);
    set.SkipToEnd();
    return command;
}

}  // namespace

TEST(DeskCommands, CrossTheWireByteForByteInBothDirections) {
    for (const Message& message : Messages()) {
        const std::string bytes = BytesOf(message.mHex);
        bool isWhole = false;
        EXPECT_EQ(HexOf(message.mReadAndWrite(bytes, isWhole)), HexOf(bytes)) << message.mName;
        EXPECT_TRUE(isWhole) << message.mName;
        const auto id = static_cast<unsigned char>(bytes[0]) | static_cast<unsigned char>(bytes[1]) << 8;
        EXPECT_STREQ(GetCommandName(static_cast<std::uint32_t>(id)), message.mName);
    }
    EXPECT_STREQ(GetCommandName(817), "Unknown");
}

TEST(DeskCommands, PutEachFieldWhereItBelongs) {
    IoSetInputParams input;
    input.mHid = 1;
    input.mPort = 7;
    input.mGain = -100;
    input.mReserved = 0x11;
    input.mPhantomPower = 1;
    input.mOperatingLevel = 280;
    input.mImpedance = -536;
    input.mMicHeadroom = -720;
    input.mEnables = 0x29;
    EXPECT_EQ(BytesOf(Messages()[2].mHex), BytesOf(Written(input)));

    PortBitmapCmd bitmap;
    bitmap.mHid = 1;
    bitmap.mFirstPort = 2;
    bitmap.mSecond = 0x01020304;
    bitmap.mSecondPort = 5;
    bitmap.mEntries[0x103] = {0xAABBCCDD, 8};
    bitmap.mEntries[1] = {0x11223344, 7};
    EXPECT_EQ(BytesOf(Messages()[6].mHex), BytesOf(Written(bitmap)));

    IoSampleRateCapabilities capabilities;
    capabilities.mHid = 0x1F2A;
    capabilities.mCurrentRate = 2;
    capabilities.mRates = {3, 1, 0, 2};
    EXPECT_EQ(BytesOf(Messages()[8].mHex), BytesOf(Written(capabilities)));

    EXPECT_EQ(Written(PortBitmapCmd()).size() / 2, 8U + 20U);
    EXPECT_EQ(Written(IoSampleRateCapabilities()).size() / 2, 8U + 12U);
}

TEST(DeskCommands, KeepOfABitmapTheLastValuesOfAPortAndSortThem) {
    const auto command = BitmapOf(
        "2f030028 30000000 00000000 00000000 0000 00000000 0000 04000000"
        "0500 01000000 01   0200 02000000 02   0500 03000000 03   0200 04000000 04");
    ASSERT_EQ(command.mEntries.size(), 2U);
    EXPECT_EQ(command.mEntries.begin()->first, 2);
    EXPECT_EQ(command.mEntries.at(2).mRoute, 4);
    EXPECT_EQ(command.mEntries.at(5).mSrcHid, 3U);
}

TEST(DeskCommands, StopReadingAtTheMessagesEnd) {
    // A count of four thousand million, a last entry cut short, and a field cut short.
    EXPECT_TRUE(BitmapOf("2f030028 14000000 01000000 02000000 0300 04000000 0500 ffffffff").mEntries.empty());
    EXPECT_EQ(BitmapOf("2f030028 20000000 01000000 02000000 0300 04000000 0500 02000000"
                       "0100 01000000 01   0200 020000  ffffffffffffffff")
                  .mEntries.size(),
              1U);
    const auto cut = BitmapOf("2f030028 07000000 01000000 020000 ffffffffffffffffffffffff");
    EXPECT_EQ(cut.mHid, 1U);
    EXPECT_EQ(cut.mFirst, kNoHid) << "as it was";

    IOStream stream(BytesOf("21030028 0b000000 01000000 00 ff000000 4b58  4b5834303933"));
    KLVCommandReadSet set(stream);
    IoInfo info;
    info.mText1 = "as it was";
    info.Read(set);
    EXPECT_EQ(info.mHid, 1U);
    EXPECT_EQ(info.mText1, "as it was");
    EXPECT_EQ(set.Left(), 2U);
    set.SkipToEnd();
}
