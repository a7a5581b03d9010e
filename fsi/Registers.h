#pragma once

#include <cstdint>

/// The registers that every block has, as byte offsets from its base.
namespace fsi::registers {

constexpr std::uint32_t kIdentity = 0x04;              ///< low byte: the block's audio DMA address
constexpr std::uint32_t kInterruptStatus = 0x18;       ///< a bit for each pending interrupt id
constexpr std::uint32_t kFirmwareBuild = 0x18;         ///< the same offset in block "0010"
constexpr std::uint32_t kIndirectData = 0x20;          ///< the word at the indirect address
constexpr std::uint32_t kIndirectAddress = 0x24;       ///< advances by one word at each write of data
constexpr std::uint32_t kInterruptEnable = 0x30;       ///< a bit for each enabled interrupt id
constexpr std::uint32_t kInterruptAcknowledge = 0x34;  ///< write 1 to clear a pending id
constexpr std::uint32_t kControl = 0x38;               ///< can't be read back
constexpr std::uint32_t kStatus = 0x3C;

constexpr std::uint32_t kBlockSize = 0x40;  ///< bytes that a mapping must reach

}  // namespace fsi::registers
