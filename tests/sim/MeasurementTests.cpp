#include <gmock/gmock.h>

#include "Board.h"
#include "OpenNode.h"

namespace {

constexpr std::uint32_t kMeasured = 0x4;

std::uint32_t Measurement(std::uint32_t clock, std::uint32_t count) {
    return count << 8 | clock;
}

class ClockMeasurement : public testing::Test {
  protected:
    ClockMeasurement() { mNode.Write(0x30, 0x1F); }

    void Acknowledge() { mNode.Write(0x34, kMeasured); }
    bool IsPending() { return (mNode.Read(0x18) & kMeasured) != 0; }
    std::uint32_t ReadWord() { return mNode.ReadWord(0x30000); }

    sim::Board mBoard{sim::BoardSettings{}};
    OpenNode mNode{mBoard, "0004"};
};

}  // namespace

TEST_F(ClockMeasurement, ShowsTheWordAndRaisesItsInterrupt) {
    EXPECT_TRUE(mBoard.Measure(0xFF, 0xFFFFFF));
    EXPECT_TRUE(mNode.TakeSignal());
    EXPECT_TRUE(IsPending());
    EXPECT_EQ(ReadWord(), 0xFFFFFFFFU);
}

TEST_F(ClockMeasurement, QueuesBehindOneThatIsNotAcknowledged) {
    mBoard.Measure(1, 100);
    mBoard.Measure(2, 200);
    EXPECT_EQ(ReadWord(), Measurement(1, 100));
    Acknowledge();
    EXPECT_TRUE(IsPending());
    EXPECT_EQ(ReadWord(), Measurement(2, 200));
    Acknowledge();
    EXPECT_FALSE(IsPending());
    EXPECT_EQ(ReadWord(), Measurement(2, 200)) << "the last one stays";
}

TEST_F(ClockMeasurement, LosesNoneToAnApplicationThatAcknowledgesBeforeItReads) {
    for (std::uint32_t n = 0; n < 5; ++n) {
        mBoard.Measure(n, n);
    }
    for (std::uint32_t n = 0; n < 5; ++n) {
        ASSERT_TRUE(mNode.Signals(5000));
        mNode.TakeSignal();
        Acknowledge();
        EXPECT_EQ(ReadWord(), Measurement(n, n));
    }
    EXPECT_EQ(mBoard.Activity().mBusyWith, "");
}

TEST_F(ClockMeasurement, GoesOnWhereNobodyReads) {
    mBoard.Measure(1, 1);
    mBoard.Measure(2, 2);
    mNode.TakeSignal();
    Acknowledge();
    EXPECT_NE(mBoard.Activity().mBusyWith, "");
    EXPECT_TRUE(mNode.Signals(5000));
    EXPECT_EQ(mBoard.Word("0004", 0x30000), Measurement(2, 2));
    Acknowledge();
    EXPECT_EQ(mBoard.Activity().mBusyWith, "");
}

TEST_F(ClockMeasurement, RefusesWhatTheQueueCannotHold) {
    for (std::size_t n = 0; n < sim::ReferenceBlock::kMaxQueued + 1; ++n) {
        ASSERT_TRUE(mBoard.Measure(1, 1));
    }
    EXPECT_FALSE(mBoard.Measure(1, 1));
}
