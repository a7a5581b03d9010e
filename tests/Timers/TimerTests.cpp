#include <gmock/gmock.h>

#include <chrono>
#include <functional>
#include <future>
#include <list>
#include <thread>

#include "CapturedLog.h"
#include "CommandTimingStats.h"
#include "EventTimerManager.h"
#include "IEventTimerHandler.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

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
        std::string& kept = mNames.emplace_back(std::move(name));
        mMade.push_back(mManager.CreateTimer(kept, this, periodMs, repeats, &kept, TimerUnit::Milliseconds));
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
    std::list<std::string> mNames;
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
    EXPECT_THAT(mElapsed, Contains("always").Times(1));
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

TEST(CommandTimingStats, KeepsARowForEachNameAndTheMaximaOfAllThreads) {
    CommandTimingStats& stats = CommandTimingStats::Instance();
    stats.SetKeyNames([](std::uint32_t key) {
        return CommandTimingStats::KeyNames{"Type", key == 1 ? "Command" : nullptr};
    });
    const auto report = [&stats] {
        CapturedLog log;
        log.Enable(Feature::TimingStatsDebug);
        stats.Report();
        return log.Lines();
    };
    int stalls = 0;
    int events = 0;  // both, for as long as the process runs
    for (const std::string& line : report()) {
        std::sscanf(line.c_str(), "Log Stalls %d", &stalls);
        std::sscanf(line.c_str(), "NumEvents = %d", &events);
    }
    constexpr std::uint32_t kKeys = 5000;  // milliseconds, more than any other test takes
    std::vector<std::future<void>> threads(3);
    for (std::future<void>& thread : threads) {
        thread = std::async(std::launch::async, [&stats] {
            for (std::uint32_t key = kKeys; key > 0; --key) {
                stats.BeginKey(key);
                stats.EndKey();
                stats.CountEvents(200, key);
                stats.CountActions(key);
                stats.CountLogWrite(key);
            }
        });
    }
    report();         // beside the counting
    threads.clear();  // waits for them
    const std::vector<std::string> lines = report();
    EXPECT_EQ(lines.size(), 9U);
    EXPECT_THAT(lines, Contains(MatchesRegex("\\[Type\\] Command, max time [0-9]+ mS\n")));
    EXPECT_THAT(lines, Contains(MatchesRegex("\\[Type\\] UNKNOWN, max time [0-9]+ mS\n")));
    for (const std::string& line :
         {"Log Stalls     " + std::to_string(stalls + 14700) +
              "     [ Number of times writing to log has exceeded 100mS ]",
          std::string("MaxLogTime     5000 mS  [ Writing to log - RemoteCapableAudit::Output() ]"),
          std::string("MaxEventTime   5000 mS  [ Processing N elapsed timers - EventTimerMgr.Service() ]"),
          std::string("MaxEvents       200     [ Max value for N events in one pass ]"),
          std::string("MaxActioned    5000     [ Max value for M commands in one pass ]"),
          "NumEvents = " + std::to_string(events + 3000000)}) {
        EXPECT_THAT(lines, Contains(line + "\n"));
    }
}

}  // namespace
