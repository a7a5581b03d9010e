#pragma once

#include <cstdint>

#include "MapObject.h"

namespace sys {

/// One LED: word 0 is on or off, word 4 its flash pattern (0: steady).
class LedMap : private fsi::MapObject {
  public:
    explicit LedMap(fsi::HostFsi& owner) : MapObject(owner, 0x60000) {}

    void SwitchOn(std::uint32_t pattern) {
        Write(0x0, 1);
        Write(0x4, pattern);
    }

    /// The pattern stays as it was.
    void SwitchOff() { Write(0x0, 0); }
};

}  // namespace sys
