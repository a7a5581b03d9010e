#include <gmock/gmock.h>

#include <algorithm>
#include <boost/format.hpp>
#include <cmath>

#include "ControllerFixture.h"
#include "DcSupply.h"
#include "PowerMonitorFsi.h"

using namespace TalvoBrindlet;

namespace {

/// The least reading that gives this voltage.
std::uint32_t ReadingFor(std::uint32_t tenths) {
    return static_cast<std::uint32_t>(std::lround((tenths - 0.67) / 0.0995));
}

class Power : public Controller {
  protected:
    void Supply(std::uint32_t tenths) { mBoard.SetPsuReading(tenths == 0 ? 0 : ReadingFor(tenths)); }

    /// The LED writes of one evaluation, and the status that it leaves.
    std::string Evaluate(std::uint32_t tenths) {
        Supply(tenths);
        std::string led;
        for (const std::string& write : WritesOf(mBoard, [this] { mManager->UpdateDcStatus(); })) {
            led += write == "000A W 0x24 0x00080000" ? "" : write + "|";  // the inputs' address apart
        }
        return (boost::format("%s%X") % led % mManager->GetIoBoxStatus()).str();
    }

    bool IsOkLedOn() { return mBoard.Word("0009", 0x60000) == 1U; }
};

}  // namespace

TEST(DcSupply, IsJudgedAtItsExactTenths) {
    using State = DcSupplyState;
    const struct {
        const char* mName;
        DcSupply mBefore;
        std::uint32_t mTenths;
        State mState;
        bool mIsInRange;
        bool mChanges;
    } rows[] = {
        {"stays in at 30.0", {State::InRange, true, true}, 300, State::InRange, true, true},
        {"goes over at 30.1", {State::InRange, true, true}, 301, State::OverVolts, false, true},
        {"stays over at 29.6", {State::OverVolts, true, false}, 296, State::OverVolts, false, false},
        {"is back at 29.5", {State::OverVolts, true, false}, 295, State::InRange, true, true},
        {"stays in at 10.0", {State::InRange, true, true}, 100, State::InRange, true, true},
        {"goes under at 9.9", {State::InRange, true, true}, 99, State::UnderVolts, false, true},
        {"stays under at 10.4", {State::UnderVolts, true, false}, 104, State::UnderVolts, false, false},
        {"is back at 10.5", {State::UnderVolts, true, false}, 105, State::InRange, true, true},
        {"appears in range", {State::NotConnected, false, true}, 100, State::InRange, true, true},
        {"appears over", {State::NotConnected, false, true}, 310, State::OverVolts, false, true},
        {"jumps from over to under", {State::OverVolts, true, false}, 60, State::OverVolts, false, false},
        {"jumps from under to over", {State::UnderVolts, true, false}, 310, State::UnderVolts, false, false},
        {"goes from in range", {State::InRange, true, true}, 0, State::NotConnected, true, true},
        {"in range with a forced fault", {State::InRange, true, false}, 240, State::InRange, false, true},
        {"over with a forced fault", {State::InRange, true, false}, 310, State::InRange, false, false},
    };
    for (const auto& row : rows) {
        const DcSupplyReading reading = JudgeDcSupply(row.mBefore, row.mTenths);
        EXPECT_EQ(reading.mSupply.mState, row.mState) << row.mName;
        EXPECT_EQ(reading.mSupply.mIsInRange, row.mIsInRange) << row.mName;
        EXPECT_EQ(reading.mSupply.mIsPresent, row.mTenths != 0) << row.mName;
        EXPECT_EQ(reading.mChange != nullptr, row.mChanges) << row.mName;
        EXPECT_EQ(reading.mIsSettled,
                  row.mBefore.mState == State::InRange && row.mState == State::InRange && row.mTenths <= 300)
            << row.mName;
    }
}

TEST(PowerMonitor, GivesTheVoltageOfEachReading) {
    sim::Board board{{}};
    const PowerMonitorFsi monitor(board);
    const auto tenthsAt = [&](std::uint32_t reading) {
        board.SetPsuReading(reading);
        return monitor.ReadDcTenths();
    };
    EXPECT_EQ(tenthsAt(0), 0U);
    EXPECT_EQ(tenthsAt(544), 0U);
    EXPECT_EQ(tenthsAt(545), 55U);
    for (std::uint32_t tenths = 56; tenths <= 370; ++tenths) {
        EXPECT_EQ(tenthsAt(ReadingFor(tenths)), tenths);
        EXPECT_EQ(tenthsAt(ReadingFor(tenths - 1) + (tenths > 56 ? 1 : 0)), tenths);
    }
    EXPECT_EQ(tenthsAt(4095), 370U);
}

TEST_F(Power, MovesWordAndLedWithTheSupply) {
    StartAlone();
    const std::string off = "000A W 0x24 0x00060000|000A W 0x20 0x00000000|";
    const std::string on = "000A W 0x24 0x00060000|000A W 0x20 0x00000001|000A W 0x24 0x00060004|";
    const std::string flashing = on + "000A W 0x20 0x00000005|";
    EXPECT_EQ(Evaluate(240), "FFFFFFFF");
    EXPECT_EQ(Evaluate(301), flashing + "FFFFFBFF");
    EXPECT_EQ(Evaluate(301), flashing + "FFFFFBFF");
    EXPECT_EQ(Evaluate(0), off + "FFFFFDFF");
    EXPECT_EQ(Evaluate(99), flashing + "FFFFFBFF");
    EXPECT_EQ(Evaluate(104), flashing + "FFFFFBFF");
    EXPECT_EQ(Evaluate(105), on + "000A W 0x20 0x00000000|FFFFFFFF");
    mBoard.SetProtectionFault(true);
    EXPECT_EQ(Evaluate(310), "FFFFFFFF") << "no interrupt was taken without routers";
    EXPECT_EQ(mManager->GetDcVolts(), 310U);
    EXPECT_EQ(mManager->GetDcProtectionLine(),
              "DC Protection fault:    active\nExt DC Supply Protection: inactive");
}

TEST_F(Power, StartsWithWhatItFindsAndOutlivesItsTimers) {
    Supply(310);
    mBoard.SetLineFault(true);
    StartAlone();
    EXPECT_EQ(mManager->GetIoBoxStatus(), 0xFFFFFBFFU) << "the mains count from their first change";
    mBoard.SetProtectionFault(true);
    StartAlone();
    EXPECT_EQ(mManager->GetIoBoxStatus(), 0xFFFFF7FFU);
    mManager.reset();
    mIo.restart();
    EXPECT_GT(mIo.poll(), 0U) << "both are called off";
    EXPECT_EQ(mLog.Count("Brindlet: ERROR"), 0U);
}

TEST_F(Power, TakesFaultsFromTheInterrupts) {
    Start();
    const auto becomes = [this](std::uint32_t word) {
        return RunUntil(mIo, [this, word] { return mManager->GetIoBoxStatus() == word; });
    };
    mBoard.SetLineFault(true);
    EXPECT_TRUE(becomes(0xFFFFEFFF));
    mBoard.SetProtectionFault(true);
    EXPECT_TRUE(becomes(0xFFFFE7FF));
    Supply(310);
    mBoard.SetProtectionFault(false);
    EXPECT_TRUE(becomes(0xFFFFEBFF)) << "the supply is judged at once";
    mBoard.SetLineFault(false);
    EXPECT_TRUE(becomes(0xFFFFFBFF));
    mManager->ReleaseRouterComms();
    mBoard.SetProtectionFault(true);
    EXPECT_TRUE(RunUntil(
        mIo, [this] { return mLog.Count("Brindlet: DC Protection fault status change. Now 1\n") == 2; }));
    EXPECT_EQ(mManager->GetIoBoxStatus(), 0xFFFFFBFFU) << "nobody to tell";
}

TEST_F(Power, WatchesTheSupplyUnlessToldNotTo) {
    StartAlone();
    Supply(0);
    EXPECT_TRUE(RunUntil(mIo, [this] { return mManager->GetDcVolts() == 0; }));
    mManager->SetDcMonitoring(false);
    Supply(240);
    const auto off = std::chrono::steady_clock::now();
    EXPECT_TRUE(RunUntil(mIo, [&] { return mManager->GetDcVolts() == 240; })) << "the armed timer's last";
    EXPECT_GT(std::chrono::steady_clock::now() - off, std::chrono::seconds(2));
    Supply(310);
    mManager->SetDcMonitoring(true);
    EXPECT_EQ(mManager->GetDcVolts(), 310U);
    mManager->SetDcMonitoring(false);
    mManager->SetDcMonitoring(true);
    mIo.restart();
    mIo.poll();
    EXPECT_EQ(mLog.Count("Brindlet: ERROR  - problem with monitoring of DC supply. Details: system:125 \n"),
              1U);
}

TEST_F(Power, FlashesTheOkLedFastWithoutARouterAndSlowlyWithOne) {
    Start();
    using Clock = std::chrono::steady_clock;
    const auto change = [this] {
        const bool before = IsOkLedOn();
        const auto begin = Clock::now();
        EXPECT_TRUE(RunUntil(mIo, [&] { return IsOkLedOn() != before; }));
        return Clock::now() - begin;
    };
    change();
    EXPECT_LT(std::min({change(), change(), change(), change()}), std::chrono::milliseconds(500));
    mManager->FakeActiveLink("t1");
    change();
    EXPECT_GT(change(), std::chrono::milliseconds(900));
    EXPECT_EQ(mBoard.Word("0009", 0x60004), 0U) << "its own flashing stays off";
}
