#pragma once

#include <cstdint>

#include "MapObject.h"

namespace audio {

/// The clock measurement and the choice of PLL source.
///
/// | word | access | meaning                                                                           |
/// |------|--------|-----------------------------------------------------------------------------------|
/// | 0x00 | read   | [7:0] clock id, [31:8] count of 27 MHz clocks over a period of 65 frames          |
/// | 0x10 | write  | first value of the measurement range                                              |
/// | 0x14 | write  | second value of the measurement range                                             |
/// | 0x18 | write  | clock id that the PLL follows, 0 for internal                                     |
class ExternalClockSourcesMap : private fsi::MapObject {
  public:
    explicit ExternalClockSourcesMap(fsi::HostFsi& owner) : MapObject(owner, 0x30000) {}

    /// A clock measurement as the hardware gives it.
    struct Measurement {
        unsigned mClockId = 0;      ///< 0 to 255
        std::uint32_t mCounts = 0;  ///< of the 27 MHz clock, 24 bits
    };

    Measurement ReadMeasurement();

    /// The range of measurements before the hardware gives the selected source up, in counts.
    void SetMeasurementRange(std::uint32_t first, std::uint32_t second);

    /// Logs, and writes the id whatever the register holds. Event loop only.
    void SetExternalPllSource(std::uint32_t clockId);
};

}  // namespace audio
