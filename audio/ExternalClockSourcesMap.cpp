#include "ExternalClockSourcesMap.h"

#include "Audit.h"

namespace audio {

void ExternalClockSourcesMap::SetExternalPllSource(std::uint32_t clockId) {
    AUDIT(Feature::Information, "SetExternalPllSource %lu\r\n", static_cast<unsigned long>(clockId));
    Write(0x18, clockId);
}

void ExternalClockSourcesMap::SetMeasurementRange(std::uint32_t first, std::uint32_t second) {
    Write(0x10, first);
    Write(0x14, second);
}

ExternalClockSourcesMap::Measurement ExternalClockSourcesMap::ReadMeasurement() {
    constexpr std::uint32_t kIdMask = 0xFF;
    constexpr unsigned kCountShift = 8;
    const std::uint32_t word = Read(0x00);
    return {word & kIdMask, word >> kCountShift};
}

}  // namespace audio
