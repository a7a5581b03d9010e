#include "EventTimerImpl.h"

#include <atomic>

#include "IEventTimerHandler.h"
#include "MonotonicTime.h"

namespace {

constexpr std::uint32_t kThousand = 1000;

std::uint32_t NextId() {
    static std::atomic<std::uint32_t> last{0};
    std::uint32_t id = ++last;
    while (id == 0) {
        id = ++last;
    }
    return id;
}

std::uint32_t Microseconds(std::uint32_t period, TimerUnit unit) {
    switch (unit) {
        case TimerUnit::Milliseconds:
            return period * kThousand;
        case TimerUnit::Seconds:
            return period * kThousand * kThousand;
        default:
            return period;
    }
}

}  // namespace

EventTimerImpl::EventTimerImpl(IEventTimerHandler* handler, std::uint32_t period, bool repeats,
                               void* userData, TimerUnit unit)
    : mId(NextId()),
      mHandler(handler),
      mPeriodUs(Microseconds(period, unit)),
      mRepeat(repeats),
      mUserData(userData) {}

std::uint32_t EventTimerImpl::PeriodMs() const {
    return mPeriodUs / kThousand;
}

void EventTimerImpl::SetPeriodMs(std::uint32_t period) {
    if (!mArmed) {
        mPeriodUs = period * kThousand;
    }
}

void EventTimerImpl::SetRepeat(bool repeats) {
    if (!mArmed) {
        mRepeat = repeats;
    }
}

void EventTimerImpl::Arm(const timeval& start) {
    constexpr std::uint32_t kPerSecond = 1'000'000;
    const timeval period{static_cast<time_t>(mPeriodUs / kPerSecond),
                         static_cast<suseconds_t>(mPeriodUs % kPerSecond)};
    timeradd(&start, &period, &mDue);
    mArmed = true;
}

std::int32_t EventTimerImpl::Elapse() {
    const timeval begin = MonotonicNow();
    if (mHandler != nullptr) {
        mHandler->TimerExpired(*this);
    }
    mLastElapsedMs = MillisecondsBetween(begin, MonotonicNow());
    return mLastElapsedMs;
}
