#pragma once

#include <sys/time.h>

#include "IEventTimer.h"

class IEventTimerHandler;

/// The timer behind the interface; EventTimerManager arms it and lets it elapse.
class EventTimerImpl : public IEventTimer {
  public:
    /// `period` is in `unit`; `handler` outlives the time that the timer is armed.
    EventTimerImpl(IEventTimerHandler* handler, std::uint32_t period, bool repeats, void* userData,
                   TimerUnit unit);

    std::uint32_t Id() const override { return mId; }
    bool IsArmed() const override { return mArmed; }
    std::uint32_t PeriodMs() const override;
    std::uint32_t PeriodUs() const override { return mPeriodUs; }
    bool Repeats() const override { return mRepeat; }
    void* UserData() const override { return mUserData; }
    std::int32_t LastElapsedMs() const override { return mLastElapsedMs; }
    void SetPeriodMs(std::uint32_t period) override;
    void SetRepeat(bool repeats) override;

    // The manager's.

    /// Armed, and due a period after `start`.
    void Arm(const timeval& start);
    void Disarm() { mArmed = false; }
    const timeval& Due() const { return mDue; }

    /// Calls the handler and keeps how long that took, in ms, which it returns.
    std::int32_t Elapse();

  private:
    std::uint32_t mId;
    IEventTimerHandler* mHandler;
    bool mArmed = false;
    std::uint32_t mPeriodUs;
    bool mRepeat;
    void* mUserData;
    timeval mDue{};
    std::int32_t mLastElapsedMs = -1;
};
