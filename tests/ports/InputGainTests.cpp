#include <gmock/gmock.h>

#include "AdcControlFsi_KX4093.h"
#include "CapturedLog.h"
#include "EventLoop.h"
#include "InputPort_KX4093.h"
#include "RegisterAccesses.h"

using testing::ElementsAre;
using namespace TalvoBrindlet;

namespace {

class Input : public InputPort_KX4093 {
  public:
    using InputPort_KX4093::InputPort_KX4093;
    void FailTimer() { mGainTimer.cancel(); }
};

/// Input 12 of the box, on channel 2.
class InputGain : public testing::Test {
  protected:
    ~InputGain() override { EXPECT_THAT(mBoard.Violations(), ElementsAre()); }

    bool Set(std::int16_t gain) { return mPort->SetCoarseGain(gain, 280, 280); }

    /// The channel's gain words that are written meanwhile.
    template <class Body>
    std::vector<std::string> GainsOf(const Body& body) {
        const auto writes = WritesOf(mBoard, body);
        std::vector<std::string> gains;
        for (std::size_t i = 0; i + 1 < writes.size(); i += 2) {
            EXPECT_EQ(writes[i], "0007 W 0x24 0x00090024");
            gains.push_back(writes[i + 1].substr(writes[i + 1].rfind(' ') + 1));
        }
        return gains;
    }

    bool AwaitStep(int step) {
        return RunUntil(mIo, [&] { return mPort->GetAnalogueGain() == step; });
    }

    sim::Board mBoard{sim::BoardSettings{}};
    CapturedLog mLog;
    boost::asio::io_service mIo;
    std::shared_ptr<AdcControlFsi_KX4093> mAdc = std::make_shared<AdcControlFsi_KX4093>(mBoard);
    std::shared_ptr<Input> mPort = std::make_shared<Input>(mAdc, std::int16_t{12}, std::int16_t{2}, mIo);
};

}  // namespace

TEST_F(InputGain, IsSplitIntoAStepAndATrim) {
    const struct {
        const char* mName;
        std::int16_t mGain;
        std::int16_t mLevel;
        std::int16_t mHeadroom;
        std::int16_t mAnalogue;
        std::int16_t mDigital;
    } rows[] = {
        {"last of step 0", 64, 280, 280, 0, 64},
        {"first of step 65", 65, 280, 280, 65, 0},
        {"above all steps", 600, 280, 280, 520, 80},
        {"below all steps", -1000, 280, 280, 0, -1000},
        {"level 150", 100, 150, 240, 130, 100},
        {"level 150, last by base 0", -66, 150, 240, 0, 64},
        {"level 150, first by base 1", -65, 150, 240, 65, 0},
        {"level 150, above base 2", 480, 150, 240, 520, 90},
        {"level 150 at the headroom, no offset", 179, 150, 150, 195, 114},
        {"level 150 just below the headroom", 130, 150, 151, 195, 65},
        {"level 151 has the common bases", 25, 151, 240, 65, 89},
        {"level above the headroom", 25, 300, 240, 65, -60},
        {"bases follow the headroom up, next step", 185, 280, 400, 65, 120},
        {"trim wraps at the top", 32767, -32768, 280, 520, -241},
        {"trim wraps at the bottom", -32768, 32767, 280, 0, 281},
        {"thresholds don't wrap", 32767, 280, -32768, 260, 32507},
    };
    for (const auto& row : rows) {
        const InputPort::Split split = mPort->SplitGain(row.mGain, row.mLevel, row.mHeadroom);
        EXPECT_EQ(split.mAnalogue, row.mAnalogue) << row.mName;
        EXPECT_EQ(split.mDigital, row.mDigital) << row.mName;
    }
}

TEST_F(InputGain, HasCodesForItsStepsAndForAnyTrim) {
    for (int step = 0; step <= 8; ++step) {
        EXPECT_EQ(mPort->EncodeAnalogueGain(step * 65), (1 << step) - 1) << step;
    }
    EXPECT_EQ(mPort->EncodeAnalogueGain(64), 0);
    EXPECT_THAT(mLog.Lines(), ElementsAre("ERROR in InputPort::EncodeAnalogueGain, analogue gain value 64 cB "
                                          "not a supported value of range\n"));
    const struct {
        std::int32_t mGain;
        unsigned mBits;
        std::uint32_t mCode;
    } rows[] = {{0, 12, 0x1000},       {1, 12, 0x102F},      {-100, 12, 0x50F},      {100, 12, 0x3298},
                {-1000, 12, 0},        {0, 16, 0x10000},     {0, 40, 0x10000},       {0, 0, 1},
                {964, 16, 0xFFFFFFFF}, {964, 12, 0xFFFFFFF}, {32767, 12, 0xFFFFFFF}, {-32768, 16, 0}};
    for (const auto& row : rows) {
        EXPECT_EQ(InputPort::EncodeDigitalGain(row.mGain, row.mBits), row.mCode)
            << row.mGain << " " << row.mBits;
    }
    EXPECT_LT(InputPort::EncodeDigitalGain(963, 16), 0xFFFFFFFF) << "the last that fits";
}

TEST_F(InputGain, RestsAtNoGainAndTrimsAtOnceWithinAStep) {
    EXPECT_EQ(mBoard.Word("0007", 0x90024), 0x100000U);
    EXPECT_THAT(GainsOf([&] { EXPECT_TRUE(Set(50) && Set(64) && Set(-1000)); }),
                ElementsAre("0x001c7300", "0x00216d00", "0x00000000"));
    EXPECT_EQ(mPort->GetDigitalGain(), -1000);
    EXPECT_EQ(mIo.poll(), 0U) << "no timer";
    EXPECT_THAT(WritesOf(mBoard, [&] { EXPECT_TRUE(mPort->SetPhantomPower(true)); }),
                ElementsAre("0007 W 0x24 0x00090028", "0007 W 0x20 0x00000002"));
}

TEST_F(InputGain, ChangesTheStepWithTheTrimAtNoughtInBetween) {
    EXPECT_THAT(GainsOf([&] {
                    ASSERT_TRUE(Set(50));
                    ASSERT_TRUE(Set(100));
                    EXPECT_EQ(mPort->GetAnalogueGain(), 0);
                    EXPECT_EQ(mPort->GetDigitalGain(), 50) << "until the second stage";
                    EXPECT_FALSE(Set(600));
                    EXPECT_FALSE(Set(50)) << "though it needs no new step";
                    ASSERT_TRUE(AwaitStep(65));
                    ASSERT_TRUE(Set(600));
                    ASSERT_TRUE(AwaitStep(520));
                }),
                ElementsAre("0x001c7300", "0x00100000", "0x0017f001", "0x00100001", "0x002830ff"));
    EXPECT_EQ(mPort->GetDigitalGain(), 80);
}

TEST_F(InputGain, IsStuckOnceTheTimerHasFailed) {
    ASSERT_TRUE(Set(100));
    EXPECT_THAT(GainsOf([&] {
                    mPort->FailTimer();
                    EXPECT_TRUE(RunUntil(mIo, [&] {
                        return mLog.Count(
                                   "Brindlet: ERROR - failed to set Analogue Gain 2, Digital Gain 65 for "
                                   "port 35. Details: system:125 \n") == 1;
                    }));
                    EXPECT_FALSE(Set(50));
                }),
                ElementsAre());
    EXPECT_EQ(mPort->GetAnalogueGain(), 0);
}

TEST_F(InputGain, IsLeftAloneWhereThePortGoesInTheMiddleOfAChange) {
    ASSERT_TRUE(Set(100));
    EXPECT_THAT(GainsOf([&] {
                    mPort.reset();
                    mIo.run();
                }),
                ElementsAre());
    EXPECT_THAT(mLog.Lines(), ElementsAre());
}
