#pragma once

#include <cstdint>
#include <memory>

/// What a timer's period is counted in.
enum class TimerUnit : std::uint8_t { Microseconds = 0, Milliseconds = 1, Seconds = 2 };

/// A timer of EventTimerManager.
class IEventTimer {
  public:
    virtual ~IEventTimer() = default;

    virtual std::uint32_t Id() const = 0;
    virtual bool IsArmed() const = 0;
    virtual std::uint32_t PeriodMs() const = 0;
    virtual std::uint32_t PeriodUs() const = 0;
    virtual bool Repeats() const = 0;
    virtual void* UserData() const = 0;

    /// How long the handler took the last time, in ms; -1 before.
    virtual std::int32_t LastElapsedMs() const = 0;

    // Nothing happens while the timer is armed.

    virtual void SetPeriodMs(std::uint32_t period) = 0;
    virtual void SetRepeat(bool repeats) = 0;
};

/// Keeps a timer alive while the manager uses it.
using EventTimerProxy = std::shared_ptr<IEventTimer>;
