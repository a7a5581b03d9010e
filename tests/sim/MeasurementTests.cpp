#include <gmock/gmock.h>

#include "Board.h"
#include "OpenNode.h"

namespace {

class ClockMeasurement : public testing::Test {
  protected:
    ClockMeasurement() { mNode.Write(0x30, 0x1F); }

    sim::Board mBoard{{}};
    OpenNode mNode{mBoard, "0004"};
};

}  // namespace

TEST_F(ClockMeasurement, LosesNoneWhetherAcknowledgedBeforeOrAfterItIsRead) {
    for (std::uint32_t n = 0; n < 4; ++n) {
        mBoard.Measure(0xFF - n, 0xFFFFFF - n);
    }
    for (const std::uint32_t expected : {0xFFFFFFFFU, 0xFFFFFDFDU}) {
        EXPECT_TRUE(mNode.TakeSignal());
        mNode.Write(0x34, 0x4);
        EXPECT_EQ(mNode.ReadWord(0x30000), expected);
        EXPECT_TRUE(mNode.TakeSignal());
        EXPECT_EQ(mNode.ReadWord(0x30000), expected - 0x101);
        mNode.Write(0x34, 0x4);
    }
    EXPECT_EQ(mNode.Read(0x18), 0U);
    EXPECT_EQ(mNode.ReadWord(0x30000), 0xFFFFFCFCU) << "the last one stays";
}

TEST_F(ClockMeasurement, GoesOnWhereNobodyReadsAndRefusesWhatTheQueueCannotHold) {
    for (std::size_t n = 0; n <= sim::ReferenceBlock::kMaxQueued; ++n) {
        ASSERT_TRUE(mBoard.Measure(1, n));
    }
    EXPECT_FALSE(mBoard.Measure(1, 1));
    mNode.TakeSignal();
    mNode.Write(0x34, 0x4);
    EXPECT_NE(mBoard.Activity().mBusyWith, "");
    EXPECT_TRUE(mNode.TakeSignal(5000));
    EXPECT_EQ(mBoard.Word("0004", 0x30000), 0x101U);
    EXPECT_TRUE(mBoard.Measure(1, 1));
}
