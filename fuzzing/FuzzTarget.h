#pragma once

#include <cstddef>
#include <cstdint>

/// What each target is: called with one input after the other, on one thread, with a log that formats all
/// features' messages and drops them. It ends by returning; a property that doesn't hold, a sanitizer's
/// finding or an exception ends the process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// A property of the code under test: where it doesn't hold, says so and aborts, and the input is kept.
void Require(bool holds, const char* property);
