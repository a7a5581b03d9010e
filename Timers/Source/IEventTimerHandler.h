#pragma once

class IEventTimer;

/// What is called when a timer elapses.
class IEventTimerHandler {
  public:
    virtual ~IEventTimerHandler() = default;

    /// On the thread that calls EventTimerManager's Service.
    virtual void TimerExpired(IEventTimer& timer) = 0;
};
