#pragma once

#include <array>
#include <cstdint>

/// The status word of the box: a set bit is healthy. Bits that aren't named here are always set.
namespace TalvoBrindlet::IoBoxStatus {

constexpr std::uint32_t kAllHealthy = 0xFFFFFFFF;
constexpr std::uint32_t kValid = 1U << 0;
constexpr std::uint32_t kDcOk = 1U << 9;
constexpr std::uint32_t kDcRange = 1U << 10;  ///< also set where there is no supply
constexpr std::uint32_t kDcProtection = 1U << 11;
constexpr std::uint32_t kAcOk = 1U << 12;

/// The labels of the status report, from bit 0 on.
constexpr std::array<const char*, 13> kLabels{
    {"Valid:        ", "PSU0:         ", "PSU1:         ", "FAN:          ", "RAIL48V:      ",
     "RAIL15V0:     ", "RAIL15V1:     ", "MADIOK0:      ", "MADIOK1:      ", "DCOK:         ",
     "DCRANGE:      ", "DCPROTECTION: ", "ACOK:         "}};

}  // namespace TalvoBrindlet::IoBoxStatus
