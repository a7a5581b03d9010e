#pragma once

#include <cstdint>

namespace sim {

// What single bits of the board's words stand for.

constexpr unsigned kDipShift = 2;
constexpr std::uint32_t kDipInputs = 0xFFU << kDipShift;

constexpr std::uint32_t kReadingMask = 0xFFF;
constexpr std::uint32_t kLineFaultInput = 1U << 12;
constexpr std::uint32_t kProtectionOkInput = 1U << 13;  ///< low while the protection has tripped

constexpr std::uint32_t kPhantomBit = 1U << 1;
constexpr std::uint32_t kAdcRunsBit = 1U << 3;  ///< of channel 0: the converters are out of reset
constexpr std::uint32_t kDacResetBit = 1U << 1;

constexpr std::uint32_t kNoMuteOnPllLossControl = 1U << 3;  ///< of "0003"
constexpr std::uint32_t kMuteControl = 1U << 4;             ///< of "0003"
constexpr std::uint32_t kPhaseFreezeControl = 1U << 4;      ///< of "0004"

constexpr std::uint32_t kMaxAdmaAddress = 7;
constexpr std::uint32_t kMaxSample = 511;
constexpr unsigned kAddressShift = 9;  ///< of an endpoint word: sample | address << 9

}  // namespace sim
