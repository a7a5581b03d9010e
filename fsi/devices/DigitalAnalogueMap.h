#pragma once

#include <cstdint>

#include "MapObject.h"

namespace audio {

/// The output converters: word 0x4 takes the gain code, 0x8 sets bits and 0xC clears them; bit 1 is reset.
class DigitalAnalogueMap : private fsi::MapObject {
  public:
    static constexpr std::uint32_t kReset = 0x2;

    explicit DigitalAnalogueMap(fsi::HostFsi& owner) : MapObject(owner, 0xA0000) {}

    void SetGain(std::uint16_t code) { Write(0x4, code); }
    void SetBits(std::uint32_t bits) { Write(0x8, bits); }
    void ClearBits(std::uint32_t bits) { Write(0xC, bits); }
};

}  // namespace audio
