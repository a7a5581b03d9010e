#pragma once

#include <cstdint>

#include "MapObject.h"

namespace sys {

/// The input pins of a block, with a flag for each that has changed and an enable for its interrupt.
///
/// | word | access | meaning                      |
/// |------|--------|------------------------------|
/// | 0x0  | read   | the inputs as they are       |
/// | 0x4  | read   | a bit for each changed input |
/// | 0x8  | write  | sets bits of change enable   |
/// | 0xC  | write  | clears bits of the change flags |
class GpioInputMap : private fsi::MapObject {
  public:
    explicit GpioInputMap(fsi::HostFsi& owner) : MapObject(owner, 0x80000) {}

    std::uint32_t Inputs() const { return Read(0x0); }
    std::uint32_t Changes() const { return Read(0x4); }
    void EnableChanges(std::uint32_t bits) { Write(0x8, bits); }
    void ClearChanges(std::uint32_t bits) { Write(0xC, bits); }
};

}  // namespace sys
