#pragma once

#include <sys/time.h>

#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "IEventTimer.h"

class EventTimerImpl;
class IEventTimerHandler;

/// The process's timers that wait for nobody: whoever owns the thread calls `Service`, and what is due fires
/// then. It has no lock: timers are made, started and serviced on one thread.
class EventTimerManager {
  public:
    static EventTimerManager& Instance();

    /// A timer, not armed yet. `handler` cancels it before it goes.
    EventTimerProxy CreateTimer(const std::string& name, IEventTimerHandler* handler, std::uint32_t period,
                                bool repeats, void* userData, TimerUnit unit);

    /// Arms it to be due a period from now, in place of an earlier time.
    void Start(const EventTimerProxy& timer);

    /// Disarms the timer of this id; whether it was armed.
    bool Cancel(std::uint32_t id);

    /// Fires what is due. Handlers may start and cancel timers.
    void Service();

  private:
    using TimerPtr = std::shared_ptr<EventTimerImpl>;

    EventTimerManager() = default;

    void Insert(const TimerPtr& timer);
    void Fire(const TimerPtr& timer);

    std::list<TimerPtr> mTimers;  ///< armed, in the order of their being due
};
