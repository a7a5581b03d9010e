#pragma once

#include <cstdint>

#include "MapObject.h"

namespace audio {

/// One input channel. Channel 0's map also has the converters' rate and reset.
///
/// | word | access | meaning                                                                  |
/// |------|--------|--------------------------------------------------------------------------|
/// | 0x0  | write  | channel 0: 1 for the double rates, 0 for the others                      |
/// | 0x4  | write  | combined gain word                                                       |
/// | 0x8  | write  | sets bits: 1 phantom power; 3, on channel 0, releases the reset          |
/// | 0xC  | write  | clears bits: 1 phantom power; 3, on channel 0, asserts the reset         |
class AnalogueDigitalMap : private fsi::MapObject {
  public:
    static constexpr std::uint32_t kPhantomPower = 0x2;
    static constexpr std::uint32_t kRunning = 0x8;

    AnalogueDigitalMap(fsi::HostFsi& owner, unsigned channel) : MapObject(owner, 0x90000 + 0x10 * channel) {}

    void SelectDoubleRate(bool doubleRate) { Write(0x0, doubleRate ? 1 : 0); }
    void SetGain(std::uint32_t value) { Write(0x4, value); }
    void SetBits(std::uint32_t bits) { Write(0x8, bits); }
    void ClearBits(std::uint32_t bits) { Write(0xC, bits); }
};

}  // namespace audio
