#include <gmock/gmock.h>

#include "Bytes.h"
#include "CapturedLog.h"
#include "DeskCommands.h"
#include "IOStream.h"

using testing::ElementsAre;

namespace {

constexpr std::uint32_t kMuteKey = klv_key::CommandKey(1, IoOutputMuteCmd::kId);

/// A stream that takes nothing.
class FullStream : public IOStream {
  public:
    bool WriteData(const void* /*buffer*/, std::size_t /*size*/) override { return false; }
};

}  // namespace

TEST(KLVReadSet, BringsTheStreamToTheNextMessageAndSaysWhatWasLeft) {
    CapturedLog log;
    IOStream stream(BytesOf("30034028 07000000 01000000 0500 01   20030028 00000000"));
    {
        const KLVCommandReadSet set(stream);
        EXPECT_EQ(set.GetCommandId(), IoOutputMuteCmd::kId) << "whatever the revision";
        std::uint32_t hid = 0;
        std::uint16_t port = 0;
        const_cast<KLVCommandReadSet&>(set).ReadNative(hid);
        const_cast<KLVCommandReadSet&>(set).ReadNative(port);
    }
    EXPECT_THAT(log.Lines(), ElementsAre("Error reading data key = 0x28400330 - Data length read 15 is "
                                         "inconsistent with KLV header 14\r\n",
                                         "Skipping 1 bytes of data\n"));
    const KLVCommandReadSet next(stream);
    EXPECT_EQ(next.GetCommandId(), IoInfoReq::kId);
    EXPECT_EQ(next.Left(), 0U);
}

TEST(KLVReadSet, SkipsToTheEndWithoutATrace) {
    CapturedLog log;
    IOStream stream(BytesOf("7b030028 04000000 78563412   20030028 00000000"));
    {
        KLVCommandReadSet set(stream);
        set.SkipToEnd();
    }
    const KLVCommandReadSet next(stream);
    EXPECT_EQ(next.GetCommandId(), IoInfoReq::kId);
    EXPECT_THAT(log.Lines(), ElementsAre());
}

TEST(KLVReadSet, ReportsAValueWithoutAKey) {
    CapturedLog log;
    IOStream stream(BytesOf("00000000 02000000 0102"));
    { const KLVReadSet set(stream); }
    EXPECT_THAT(log.Lines(), ElementsAre("Data key not recognised = 0x00000000 - Data length read 10 is "
                                         "inconsistent with KLV header 8\n",
                                         "Skipping 2 bytes of data\n"));
}

TEST(KLVWriteSet, ReportsAWriterThatBreaksItsWord) {
    CapturedLog log;
    IOStream stream;
    {
        KLVCommandWriteSet set(stream, 1, IoOutputMuteCmd::kId, 10);
        set.WriteNative(std::uint32_t{1});
        set.WriteNative(std::string("12345"));
    }
    EXPECT_EQ(HexOf(stream.Bytes()),
              "30034028"
              "0a000000"
              "01000000"
              "05000000"
              "3132333435");
    EXPECT_THAT(log.Lines(),
                ElementsAre("Error writing data for key 0x28400330 - Predefined data length 10 / "
                            "write mismatch 13\n"));
}

TEST(KLVWriteSet, ReportsAStreamThatTakesNothing) {
    CapturedLog log;
    FullStream stream;
    {
        KLVCommandWriteSet set(stream, 1, IoOutputMuteCmd::kId, 1);
        set.WriteNative(std::uint8_t{1});
    }
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
    EXPECT_EQ(HexOf(stream.Bytes()),
              "30034028"
              "0b000000"
              "01"
              "07000000"
              "02000000"
              "0302");
}

TEST(KLVWriteSet, WarnsOfLongStringsAndWritesThem) {
    struct {
        std::size_t mLength;
        std::size_t mWarnings;
    } const rows[] = {{1024, 0}, {1025, 1}};
    for (const auto& row : rows) {
        CapturedLog log;
        IOStream stream;
        {
            KLVCommandWriteSet set(stream, 0, IoInfo::kId, static_cast<std::int32_t>(row.mLength + 4));
            set.WriteNative(std::string(row.mLength, 'x'));
        }
        EXPECT_EQ(stream.Bytes().size(), 8 + 4 + row.mLength);
        EXPECT_EQ(log.Count("---- WARNING: LARGE STRING LENGTH 1025 ----\n"), row.mWarnings);
        EXPECT_EQ(log.Count("78 "), 32 * row.mWarnings);
    }
}
