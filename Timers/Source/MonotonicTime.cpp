#include "MonotonicTime.h"

#include <ctime>

#include "Audit.h"

timeval MonotonicNow() {
    constexpr long kNanosecondsPerMicrosecond = 1000;
    timespec now{};
    const bool isRead = clock_gettime(CLOCK_MONOTONIC, &now) == 0;
    AUDIT_ASSERT_TEXT(isRead, "CurrentTime.SetToMonotonicTime()");
    return {now.tv_sec, now.tv_nsec / kNanosecondsPerMicrosecond};
}

std::int32_t MillisecondsBetween(const timeval& begin, const timeval& end) {
    constexpr std::int64_t kPerSecond = 1'000'000;
    constexpr std::int64_t kPerMillisecond = 1000;
    const std::int64_t elapsed = (end.tv_sec - begin.tv_sec) * kPerSecond + (end.tv_usec - begin.tv_usec);
    return static_cast<std::int32_t>(elapsed / kPerMillisecond);
}
