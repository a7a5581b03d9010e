#pragma once

#include <sys/time.h>

#include <cstdint>

/// Reads the monotonic clock; asserts where it can't be read.
timeval MonotonicNow();

/// From `begin` to `end`, in ms.
std::int32_t MillisecondsBetween(const timeval& begin, const timeval& end);
