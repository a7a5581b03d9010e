#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "CapturedLog.h"
#include "EventTimerManager.h"
#include "IEventTimerHandler.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Clock = std::chrono::steady_clock;

void SleepUntilPast(Clock::time_point when) {
    while (Clock::now() <= when) {
        std::this_thread::sleep_until(when + std::chrono::milliseconds(1));
    }
}

class Timers : public testing::Test, public IEventTimerHandler {
  protected:
    ~Timers() override {
        for (const EventTimerProxy& timer : mMade) {
            mManager.Cancel(timer->Id());
        }
    }

    /// Starts a timer that tells its name when it elapses.
    EventTimerProxy Start(std::string name, std::uint32_t periodMs, bool repeats = false) {
        mNames.push_back(std::make_unique<std::string>(std::move(name)));
        mMade.push_back(mManager.CreateTimer(*mNames.back(), this, periodMs, repeats, mNames.back().get(),
                                             TimerUnit::Milliseconds));
        mManager.Start(mMade.back());
        return mMade.back();
    }

    void ServiceAfter(int waitMs) {
        SleepUntilPast(Clock::now() + std::chrono::milliseconds(waitMs));
        mManager.Service();
    }

    void TimerExpired(IEventTimer& timer) override {
        mElapsed.push_back(*static_cast<const std::string*>(timer.UserData()));
        if (mReaction) {
            mReaction(timer);
        }
    }

    EventTimerManager& mManager = EventTimerManager::Instance();
    std::vector<std::unique_ptr<std::string>> mNames;
    std::vector<EventTimerProxy> mMade;
    std::vector<std::string> mElapsed;
    std::function<void(IEventTimer&)> mReaction;
};

TEST_F(Timers, WhatIsDueFiresOnceAndInOrderOfBeingDue) {
    const EventTimerProxy late = Start("late", 60'000);
    const EventTimerProxy second = Start("second", 200);
    Start("first", 100);
    const EventTimerProxy again = Start("started again", 50);
    mManager.Start(again);  // one entry, due a period from now
    EXPECT_EQ(second->LastElapsedMs(), -1);
    mManager.Service();
    EXPECT_THAT(mElapsed, IsEmpty());
    ServiceAfter(201);
    EXPECT_THAT(mElapsed, ElementsAre("started again", "first", "second"));
    EXPECT_FALSE(second->IsArmed());
    EXPECT_GE(second->LastElapsedMs(), 0);
    EXPECT_TRUE(mManager.Cancel(late->Id()));
    EXPECT_FALSE(mManager.Cancel(late->Id()) || late->IsArmed());
}

TEST_F(Timers, ARepeatingTimerCatchesUpAmongTheOthersAndOneWithoutPeriodFiresOncePerPass) {
    Start("often", 40, true);
    Start("once", 100);
    Start("always", 0, true);
    ServiceAfter(121);
    ASSERT_GE(mElapsed.size(), 5U);
    mElapsed.resize(5);
    EXPECT_THAT(mElapsed, ElementsAre("always", "often", "often", "once", "often"));
    mElapsed.clear();
    mManager.Service();
    EXPECT_EQ(std::count(mElapsed.begin(), mElapsed.end(), "always"), 1);
}

TEST_F(Timers, HandlersMayCancelAndStartTimers) {
    const EventTimerProxy repeating = Start("repeating", 1, true);
    const EventTimerProxy victim = Start("victim", 2);
    mReaction = [&](IEventTimer& timer) {
        EXPECT_TRUE(timer.IsArmed());  // as it repeats
        EXPECT_TRUE(mManager.Cancel(timer.Id()) && mManager.Cancel(victim->Id()));
        Start("next", 60'000);
    };
    ServiceAfter(10);
    ServiceAfter(10);
    EXPECT_THAT(mElapsed, ElementsAre("repeating"));
    EXPECT_TRUE(mMade.back()->IsArmed());
}

TEST_F(Timers, AHandlerThatTakesLongIsReported) {
    CapturedLog log;
    log.Enable(Feature::Information);
    mReaction = [](IEventTimer&) {
        SleepUntilPast(Clock::now() + std::chrono::milliseconds(2002));
    };
    const EventTimerProxy slow = Start("slow", 0);
    mManager.Service();
    EXPECT_GT(slow->LastElapsedMs(), 2000);
    EXPECT_EQ(log.Count(" Ms in service call " + std::to_string(slow->LastElapsedMs()) + "\r\n"), 1U);
    EXPECT_EQ(log.Count("Timer manager Ms in service loop 2"), 1U);
}

}  // namespace
