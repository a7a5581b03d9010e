#include "CommandTimingStats.h"

#include <algorithm>
#include <chrono>

#include "Audit.h"
#include "EventTimerManager.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kFirstReportMs = 30'000;
constexpr std::uint32_t kReportMs = 900'000;
constexpr std::uint32_t kSlowLogMs = 100;

/// What a thread is at.
struct KeyInHand {
    std::uint32_t mKey = 0;
    Clock::time_point mBegin;
};

thread_local KeyInHand sKeyInHand;

void Raise(std::uint32_t& maximum, std::uint32_t value) {
    maximum = std::max(maximum, value);
}

}  // namespace

CommandTimingStats& CommandTimingStats::Instance() {
    static CommandTimingStats& instance = *new CommandTimingStats;
    return instance;
}

CommandTimingStats::CommandTimingStats()
    : mTimer(EventTimerManager::Instance().CreateTimer("CommandTimingStats", this, kFirstReportMs, false,
                                                       nullptr, TimerUnit::Milliseconds)) {}

void CommandTimingStats::StartReports() {
    EventTimerManager::Instance().Start(mTimer);
}

void CommandTimingStats::SetKeyNames(KeyNamer namer) {
    const std::lock_guard lock(mMutex);
    mKeyNames = std::move(namer);
}

void CommandTimingStats::BeginKey(std::uint32_t key) {
    sKeyInHand = {key, Clock::now()};
}

void CommandTimingStats::EndKey() {
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - sKeyInHand.mBegin);
    const auto elapsedMs = static_cast<std::uint32_t>(elapsed.count());
    const std::lock_guard lock(mMutex);
    const KeyNames names = mKeyNames ? mKeyNames(sKeyInHand.mKey) : KeyNames{"", nullptr};
    Raise(mMaxMs[names], elapsedMs);
    Raise(mMaxCommandMs, elapsedMs);
}

void CommandTimingStats::CountEvents(std::uint32_t count, std::uint32_t elapsedMs) {
    const std::lock_guard lock(mMutex);
    mEvents += count;
    Raise(mMaxEvents, count);
    Raise(mMaxEventMs, elapsedMs);
}

void CommandTimingStats::CountActions(std::uint32_t count) {
    const std::lock_guard lock(mMutex);
    Raise(mMaxActions, count);
}

void CommandTimingStats::CountLogWrite(std::uint32_t elapsedMs) {
    const std::lock_guard lock(mMutex);
    mLogStalls += elapsedMs > kSlowLogMs ? 1 : 0;
    Raise(mMaxLogMs, elapsedMs);
}

void CommandTimingStats::TimerExpired(IEventTimer& timer) {
    timer.SetPeriodMs(kReportMs);
    StartReports();
    Report();
}

void CommandTimingStats::Report() const {
    const std::lock_guard lock(mMutex);
    for (const auto& [names, maxMs] : mMaxMs) {
        if (names.second != nullptr) {
            AUDIT(Feature::TimingStatsDebug, "[%s] %s, max time %lu mS\n", names.first, names.second,
                  static_cast<unsigned long>(maxMs));
        } else {
            AUDIT(Feature::TimingStatsDebug, "[%s] UNKNOWN, max time %lu mS\n", names.first,
                  static_cast<unsigned long>(maxMs));
        }
    }
    AUDIT(Feature::TimingStatsDebug,
          "Log Stalls     %4lu     [ Number of times writing to log has exceeded %umS ]\n",
          static_cast<unsigned long>(mLogStalls), kSlowLogMs);
    AUDIT(Feature::TimingStatsDebug,
          "MaxCommandTime %4lu mS  [ Executing M received commands on a KLV Stream - CommsMgr.DoSelect() ]\n",
          static_cast<unsigned long>(mMaxCommandMs));
    AUDIT(Feature::TimingStatsDebug,
          "MaxLogTime     %4lu mS  [ Writing to log - RemoteCapableAudit::Output() ]\n",
          static_cast<unsigned long>(mMaxLogMs));
    AUDIT(Feature::TimingStatsDebug,
          "MaxEventTime   %4lu mS  [ Processing N elapsed timers - EventTimerMgr.Service() ]\n",
          static_cast<unsigned long>(mMaxEventMs));
    AUDIT(Feature::TimingStatsDebug, "MaxEvents      %4lu     [ Max value for N events in one pass ]\n",
          static_cast<unsigned long>(mMaxEvents));
    AUDIT(Feature::TimingStatsDebug, "MaxActioned    %4lu     [ Max value for M commands in one pass ]\n",
          static_cast<unsigned long>(mMaxActions));
    AUDIT(Feature::TimingStatsDebug, "NumEvents = %lu\n", static_cast<unsigned long>(mEvents));
}
