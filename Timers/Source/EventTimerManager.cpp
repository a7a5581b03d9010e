#include "EventTimerManager.h"

#include <algorithm>

#include "Audit.h"
#include "CommandTimingStats.h"
#include "EventTimerImpl.h"
#include "MonotonicTime.h"

namespace {

constexpr std::int32_t kSlowMs = 2000;

bool IsEarlier(const timeval& left, const timeval& right) {
    return timercmp(&left, &right, <) != 0;
}

/// What the next period of a timer that elapses in this pass counts from. Without a period the timer would be
/// due for ever; it is again in the next pass.
timeval FromWhen(const EventTimerImpl& timer, const timeval& pass) {
    constexpr timeval kInstant{0, 1};
    timeval start = timer.Due();
    if (timer.PeriodUs() == 0) {
        timeradd(&pass, &kInstant, &start);
    }
    return start;
}

}  // namespace

EventTimerManager& EventTimerManager::Instance() {
    // Timers may be cancelled by objects that end with the process.
    static EventTimerManager& instance = *new EventTimerManager;
    return instance;
}

EventTimerProxy EventTimerManager::CreateTimer(const std::string& name, IEventTimerHandler* handler,
                                               std::uint32_t period, bool repeats, void* userData,
                                               TimerUnit unit) {
    const auto timer = std::make_shared<EventTimerImpl>(handler, period, repeats, userData, unit);
    AUDIT(Feature::TimingStatsDebug, "New Timer '%s' ID=%lu\n", name.empty() ? "Unknown" : name.c_str(),
          static_cast<unsigned long>(timer->Id()));
    return timer;
}

void EventTimerManager::Start(const EventTimerProxy& timer) {
    const auto implementation = std::dynamic_pointer_cast<EventTimerImpl>(timer);
    if (implementation == nullptr) {
        return;
    }
    Cancel(implementation->Id());
    implementation->Arm(MonotonicNow());
    Insert(implementation);
}

bool EventTimerManager::Cancel(std::uint32_t id) {
    bool isFound = false;
    mTimers.remove_if([id, &isFound](const TimerPtr& timer) {
        if (timer->Id() != id) {
            return false;
        }
        timer->Disarm();
        isFound = true;
        return true;
    });
    return isFound;
}

void EventTimerManager::Service() {
    const timeval begin = MonotonicNow();
    std::uint32_t events = 0;
    while (!mTimers.empty() && !IsEarlier(begin, mTimers.front()->Due())) {
        const TimerPtr timer = mTimers.front();
        mTimers.pop_front();
        timer->Disarm();
        if (timer->Repeats()) {
            timer->Arm(FromWhen(*timer, begin));
            Insert(timer);
        }
        Fire(timer);
        ++events;
    }
    const std::int32_t elapsedMs = MillisecondsBetween(begin, MonotonicNow());
    if (elapsedMs > kSlowMs) {
        AUDIT(Feature::Information, "Timer manager Ms in service loop %d", elapsedMs);
    }
    if (events > 0) {
        CommandTimingStats::Instance().CountEvents(events, static_cast<std::uint32_t>(elapsedMs));
    }
}

void EventTimerManager::Insert(const TimerPtr& timer) {
    const auto place = std::find_if(mTimers.begin(), mTimers.end(), [&timer](const TimerPtr& other) {
        return IsEarlier(timer->Due(), other->Due());
    });
    mTimers.insert(place, timer);
}

void EventTimerManager::Fire(const TimerPtr& timer) {
    const std::int32_t elapsedMs = timer->Elapse();
    if (elapsedMs > kSlowMs) {
        AUDIT(Feature::Information, "ProcessTimerEvent Object %p Ms in service call %d\r\n",
              static_cast<void*>(timer.get()), elapsedMs);
    }
}
