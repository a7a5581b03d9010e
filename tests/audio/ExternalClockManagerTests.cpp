#include "ExternalClockManager.h"

#include <gmock/gmock.h>

#include <boost/asio/io_service.hpp>

#include "Board.h"
#include "CapturedLog.h"
#include "ExternalReferenceFsi.h"
#include "RegisterAccesses.h"

using audio::ExternalClockManager;
using testing::ElementsAre;

namespace {

constexpr std::uint32_t kGood = 1152000;
constexpr std::uint32_t kBad = 1000;

/// Clock 1 at priority 0 and clock 2 at priority 1, both enabled.
class ClockManager : public testing::Test {
  protected:
    ClockManager() {
        mManager.SetPriority(1, 0, true);
        mManager.SetPriority(2, 1, true);
        mManager.ClockLocked().connect([this](unsigned id) { mLocked.push_back(id); });
        RunPosted();
    }
    ~ClockManager() override { EXPECT_THAT(mBoard.Violations(), ElementsAre()); }

    void RunPosted() {
        mIo.restart();
        mIo.poll();
    }

    void Measure(unsigned id, std::uint32_t counts) {
        ASSERT_TRUE(mBoard.Measure(id, counts));
        mFsi->HandleInterrupts();
    }

    void Interrupt(unsigned id) {
        ASSERT_TRUE(mBoard.RaiseInterrupt("0004", id));
        mFsi->HandleInterrupts();
    }

    void Lock(unsigned id) {
        mBoard.SetPllLocked(true);
        Measure(id, kGood);
        Measure(id, kGood);
        ASSERT_EQ(Selected(), std::to_string(id) + " locked");
    }

    /// The selected clock with its state; it is the one that the PLL follows.
    std::string Selected() const {
        constexpr const char* kStates[] = {"idle", "locking", "locked"};
        const unsigned id = mManager.SelectedId();
        EXPECT_EQ(mBoard.Word("0004", 0x30018), id);
        return std::to_string(id) + " " + kStates[static_cast<unsigned>(mManager.GetClock(id).mState)];
    }

    int InterruptMask() const {
        const std::string state = mBoard.StateText();
        const std::string name = "\"0004\":";
        return std::stoi(state.substr(state.find(name) + name.size()));
    }

    template <class Body>
    std::string SelectedAfter(const Body& body) {
        body();
        RunPosted();
        return Selected();
    }

    sim::Board mBoard{sim::BoardSettings{}};
    CapturedLog mLog;
    boost::asio::io_service mIo;
    std::shared_ptr<audio::ExternalReferenceFsi> mFsi = std::make_shared<audio::ExternalReferenceFsi>(mBoard);
    ExternalClockManager mManager{mIo, mFsi};
    std::vector<unsigned> mLocked;
};

}  // namespace

TEST_F(ClockManager, AcceptsMeasurementsUpToBothEndsOfTheRange) {
    EXPECT_EQ(mLog.Count("SetExternalPllSource"), 0U) << "untouched before a measurement";
    const std::pair<std::uint32_t, bool> rows[] = {{1128999, false}, {1129000, true}, {1175001, false},
                                                   {1175000, true},  {0, false},      {0xFFFFFF, false}};
    for (const auto& [counts, isAccepted] : rows) {
        Measure(5, counts);
        EXPECT_EQ(mManager.GetClock(5).mAccepted, isAccepted) << counts;
        EXPECT_EQ(mManager.GetClock(5).mMeasurement, counts);
    }
    Measure(8, kGood);
    EXPECT_EQ(Selected(), "0 locking");
}

TEST_F(ClockManager, OrdersByPriorityThenIdWithTheInternalClockLast) {
    const auto order = [this] {
        RunPosted();
        std::string ids;
        for (const auto& clock : mManager.PriorityList()) {
            ids += std::to_string(clock->mId);
        }
        return ids;
    };
    EXPECT_EQ(order(), "12345670");
    mManager.SetPriority(1, 1, true);
    mManager.SetPriority(7, -5, true);
    mManager.SetPriority(0, 1, true);
    EXPECT_EQ(order(), "71203456");
    mManager.SetPriority(8, -9, true);
    EXPECT_EQ(order(), "71203456") << "there is no clock 8";
}

TEST_F(ClockManager, LocksWithinThreeMeasurements) {
    Measure(2, kGood);
    EXPECT_EQ(Selected(), "2 locking");
    Measure(2, kBad);
    EXPECT_EQ(Selected(), "2 locking") << "only a locked one is left for its range";
    Measure(2, kGood);
    EXPECT_EQ(Selected(), "2 locking");
    mBoard.SetPllLocked(true);
    Measure(2, kBad);
    EXPECT_EQ(Selected(), "2 locked");
    EXPECT_TRUE(mManager.GetClock(2).mAccepted) << "a lock outweighs the measurement";
    EXPECT_THAT(mLocked, ElementsAre(2));
    Measure(2, kBad);
    EXPECT_EQ(Selected(), "0 locking");
    EXPECT_EQ(mManager.GetClock(2).mState, ExternalClockManager::State::Idle);
}

TEST_F(ClockManager, GivesASourceUpAfterThreeMeasurementsWithoutLock) {
    Measure(1, kGood);
    Measure(2, kGood);
    ASSERT_EQ(Selected(), "1 locking");
    Measure(1, kGood);
    Measure(1, kGood);
    EXPECT_EQ(Selected(), "1 locking");
    Measure(1, kGood);
    EXPECT_EQ(Selected(), "2 locking");
    for (int i = 0; i < 3; ++i) {
        Measure(2, kGood);
    }
    EXPECT_EQ(Selected(), "0 locking");
    EXPECT_THAT(mLocked, ElementsAre());
    EXPECT_EQ(SelectedAfter([&] { Measure(2, kGood); }), "2 locking") << "and tries it again";
}

TEST_F(ClockManager, TakesABetterSourceOnceItHasComeGood) {
    Lock(2);
    const std::pair<std::uint32_t, const char*> rows[] = {
        {kBad, "2 locked"}, {kGood, "1 locking"}, {kGood, "1 locked"}, {kBad, "2 locking"}};
    for (const auto& [counts, selected] : rows) {
        Measure(1, counts);
        EXPECT_EQ(Selected(), selected);
    }
    EXPECT_THAT(mLocked, ElementsAre(2, 1));
}

TEST_F(ClockManager, LeavesADisabledSourceAtOnce) {
    Lock(1);
    Measure(2, kGood);
    EXPECT_EQ(SelectedAfter([&] { mManager.DisableSource(1); }), "2 locking");
    const auto writes =
        WritesOf(mBoard, [&] { EXPECT_EQ(SelectedAfter([&] { mManager.DisableSource(1); }), "2 locking"); });
    EXPECT_THAT(writes, ElementsAre()) << "a second time changes nothing";
    EXPECT_EQ(SelectedAfter([&] { mManager.DisableSource(2); }), "0 locking");
    EXPECT_EQ(SelectedAfter([&] { Measure(1, kBad), Measure(1, kGood); }), "0 locking");
    EXPECT_EQ(SelectedAfter([&] { mManager.EnableSource(1); }), "1 locking");
}

TEST_F(ClockManager, StaysOnTheInternalClockUntilToldToSelect) {
    Lock(1);
    mManager.UseInternal();
    EXPECT_EQ(Selected(), "1 locked") << "posted";
    RunPosted();
    EXPECT_EQ(Selected(), "0 idle");
    EXPECT_EQ(mManager.GetClock(1).mState, ExternalClockManager::State::Locked);
    EXPECT_EQ(SelectedAfter([&] { Measure(2, kGood), Measure(1, kBad), Measure(1, kGood), Interrupt(0); }),
              "0 idle");
    EXPECT_EQ(SelectedAfter([&] { mManager.AutoSelect(); }), "1 locking");
}

TEST_F(ClockManager, DropsALostReferenceAndMasksALossOfLock) {
    for (const unsigned interrupt : {0U, 1U}) {
        Lock(1);
        Interrupt(interrupt);
        EXPECT_EQ(Selected(), "0 locking") << interrupt;
        EXPECT_EQ(mManager.GetClock(1).mMeasurement + mManager.GetClock(1).mAccepted, 0U);
    }
    Lock(1);
    EXPECT_EQ(InterruptMask(), 0x1F);
    Interrupt(3);
    EXPECT_EQ(InterruptMask(), 0x17);
    EXPECT_EQ(Selected(), "1 locked");
    Measure(1, kBad);
    EXPECT_EQ(Selected(), "0 locking");
    EXPECT_EQ(InterruptMask(), 0x17) << "the internal clock needs none";
    EXPECT_EQ(SelectedAfter([&] { Measure(2, kGood); }), "2 locking");
    EXPECT_EQ(InterruptMask(), 0x1F);
}
