#include "DeskCommands.h"

#include <gmock/gmock.h>

#include "Bytes.h"
#include "CapturedLog.h"
#include "CommandNames.h"
#include "IOStream.h"

namespace {

struct Message {
    const char* mName;
    std::string mHex;  ///< key, length, value
    std::string (*mReadAndWrite)(const std::string& bytes);
};

template <class Command>
std::string Written(const Command& command) {
    IOStream stream;
    command.Write(stream);
    return stream.Bytes();
}

/// A message read as a `Command`, which takes all of it, and written again.
template <class Command>
std::string ReadAndWrite(const std::string& bytes) {
    IOStream in(bytes);
    Command command;
    KLVCommandReadSet set(in);
    command.Read(set);
    EXPECT_EQ(set.Left(), 0U) << set.GetCommandId();
    EXPECT_EQ(set.GetCommandId(), Command::kId);
    return Written(command);
}

/// One of each command, with a value of its own in every field.
const Message kMessages[] = {
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

constexpr std::uint32_t kMuteKey = klv_key::CommandKey(1, IoOutputMuteCmd::kId);

/// A stream that takes nothing.
class FullStream : public IOStream {
  public:
    bool WriteData(const void* /*buffer*/, std::size_t /*size*/) override { return false; }
};

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
    for (const Message& message : kMessages) {
        const std::string bytes = BytesOf(message.mHex);
        EXPECT_EQ(HexOf(message.mReadAndWrite(bytes)), HexOf(bytes)) << message.mName;
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
    EXPECT_EQ(BytesOf(kMessages[2].mHex), Written(input));

    PortBitmapCmd bitmap;
    bitmap.mHid = 1;
    bitmap.mFirstPort = 2;
    bitmap.mSecond = 0x01020304;
    bitmap.mSecondPort = 5;
    bitmap.mEntries[0x103] = {0xAABBCCDD, 8};
    bitmap.mEntries[1] = {0x11223344, 7};
    EXPECT_EQ(BytesOf(kMessages[6].mHex), Written(bitmap));

    IoSampleRateCapabilities capabilities;
    capabilities.mHid = 0x1F2A;
    capabilities.mCurrentRate = 2;
    capabilities.mRates = {3, 1, 0, 2};
    EXPECT_EQ(BytesOf(kMessages[8].mHex), Written(capabilities));

    EXPECT_EQ(Written(PortBitmapCmd()).size(), 8U + 20U);
    EXPECT_EQ(Written(IoSampleRateCapabilities()).size(), 8U + 12U);
}

TEST(DeskCommands, KeepOfABitmapTheLastValuesOfAPortAndStopReadingAtTheMessagesEnd) {
    const auto bitmap = BitmapOf(
        "2f030028 30000000 00000000 00000000 0000 00000000 0000 04000000"
        "0500 01000000 01   0200 02000000 02   0500 03000000 03   0200 04000000 04");
    ASSERT_EQ(bitmap.mEntries.size(), 2U);
    EXPECT_EQ(bitmap.mEntries.at(2).mRoute, 4);
    EXPECT_EQ(bitmap.mEntries.at(5).mSrcHid, 3U);
    // A count of four thousand million, a last entry cut short, and a field cut short.
    EXPECT_TRUE(BitmapOf("2f030028 14000000 01000000 02000000 0300 04000000 0500 ffffffff").mEntries.empty());
    const auto lastCut = BitmapOf(
        "2f030028 20000000 01000000 02000000 0300 04000000 0500 02000000"
        "0100 01000000 01   0200 020000  ffffffffffffffff");
    EXPECT_EQ(lastCut.mEntries.size(), 1U);
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

TEST(KLVReadSet, BringsTheStreamToTheNextMessageAndSaysWhatWasLeft) {
    const CapturedLog log;
    IOStream stream(
        BytesOf("30034028 07000000 01000000 0500 01  7b030028 04000000 78563412  20030028 00000000"));
    {
        KLVCommandReadSet set(stream);
        EXPECT_EQ(set.GetCommandId(), IoOutputMuteCmd::kId) << "whatever the revision";
        std::uint32_t hid = 0;
        std::uint16_t port = 0;
        set.ReadNative(hid);
        set.ReadNative(port);
    }
    KLVCommandReadSet(stream).SkipToEnd();
    const KLVCommandReadSet last(stream);
    EXPECT_EQ(last.GetCommandId(), IoInfoReq::kId);
    EXPECT_EQ(last.Left(), 0U);
    IOStream withoutKey(BytesOf("00000000 02000000 0102"));
    { const KLVReadSet set(withoutKey); }
    EXPECT_THAT(log.Lines(),
                testing::ElementsAre("Error reading data key = 0x28400330 - Data length read 15 is "
                                     "inconsistent with KLV header 14\r\n",
                                     "Skipping 1 bytes of data\n",
                                     "Data key not recognised = 0x00000000 - Data length read 10 is "
                                     "inconsistent with KLV header 8\n",
                                     "Skipping 2 bytes of data\n"));
}

TEST(KLVWriteSet, ReportsAWriterThatBreaksItsWordAndAStreamThatTakesNothing) {
    const CapturedLog log;
    IOStream stream;
    {
        KLVCommandWriteSet set(stream, 1, IoOutputMuteCmd::kId, 10);
        set.WriteNative(std::uint32_t{1});
        set.WriteNative(std::string("12345"));
    }
    EXPECT_EQ(stream.Bytes(), BytesOf("30034028 0a000000 01000000 05000000 3132333435"));
    EXPECT_THAT(log.Lines(),
                testing::ElementsAre("Error writing data for key 0x28400330 - Predefined data length 10 / "
                                     "write mismatch 13\n"));
    FullStream full;
    KLVCommandWriteSet(full, 1, IoOutputMuteCmd::kId, 1).WriteNative(std::uint8_t{1});
    EXPECT_EQ(log.Count("ERROR in KLVWriteSet::WriteNative - some data was not written for data key "
                        "0x28400330 \n"),
              2U);
}

TEST(KLVWriteSet, MeasuresNestedSetsFirstAndThenWritesTheirLengths) {
    CapturedLog log;
    IOStream stream;
    const auto writeFields = [&stream] {
        KLVWriteSet outer(stream, kMuteKey, -1);
        outer.WriteNative(std::uint8_t{1});
        KLVWriteSet inner(stream, 7, -1);
        inner.WriteNative(std::uint16_t{0x0203});
    };
    stream.ResetMeasuring();
    writeFields();
    EXPECT_EQ(stream.Bytes(), "");
    stream.StartWritingPass();
    writeFields();
    EXPECT_EQ(stream.Bytes(), BytesOf("30034028 0b000000 01 07000000 02000000 0302"));
}

TEST(KLVWriteSet, WarnsOfLongStringsAndWritesThem) {
    for (const std::size_t length : {1024U, 1025U}) {
        const std::size_t warnings = length > 1024 ? 1 : 0;
        CapturedLog log;
        IOStream stream;
        {
            KLVCommandWriteSet set(stream, 0, IoInfo::kId, static_cast<std::int32_t>(length + 4));
            set.WriteNative(std::string(length, 'x'));
        }
        EXPECT_EQ(stream.Bytes().size(), 8 + 4 + length);
        EXPECT_EQ(log.Count("---- WARNING: LARGE STRING LENGTH 1025 ----\n"), warnings);
        EXPECT_EQ(log.Count("78 "), 32 * warnings);
    }
}
