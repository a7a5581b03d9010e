#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <utility>

#include "IEventTimer.h"
#include "IEventTimerHandler.h"

/// How long commands, timers and log writes have taken at most, since the process began, and a report of it
/// every quarter of an hour, for an owner who services the timers.
class CommandTimingStats : public IEventTimerHandler {
  public:
    /// The name of a key's kind and of its command, the latter null where it has none. Both stay for ever.
    using KeyNames = std::pair<const char*, const char*>;
    using KeyNamer = std::function<KeyNames(std::uint32_t key)>;

    static CommandTimingStats& Instance();

    /// Starts the reports, the first after half a minute. On the thread that services the timers.
    void StartReports();

    /// How keys are named; before any key is counted.
    void SetKeyNames(KeyNamer namer);

    // What has happened. Any thread.

    /// A message with this key is being processed, on this thread, until EndKey.
    void BeginKey(std::uint32_t key);
    void EndKey();
    void CountEvents(std::uint32_t count, std::uint32_t elapsedMs);
    void CountActions(std::uint32_t count);
    void CountLogWrite(std::uint32_t elapsedMs);

    /// Logs the table.
    void Report() const;

  private:
    CommandTimingStats();

    void TimerExpired(IEventTimer& timer) override;

    mutable std::mutex mMutex;
    KeyNamer mKeyNames;
    std::map<KeyNames, std::uint32_t> mMaxMs;  ///< one row for each name, however many keys there are
    std::uint32_t mLogStalls = 0;
    std::uint32_t mMaxCommandMs = 0;
    std::uint32_t mMaxLogMs = 0;
    std::uint32_t mMaxEventMs = 0;
    std::uint32_t mMaxEvents = 0;
    std::uint32_t mMaxActions = 0;
    std::uint32_t mEvents = 0;
    EventTimerProxy mTimer;
};
