#include "ExternalClockSourcesMap.h"

#include "Audit.h"

namespace audio {

void ExternalClockSourcesMap::SetExternalPllSource(std::uint32_t clockId) {
    AUDIT(Feature::Information, "SetExternalPllSource %lu\r\n", static_cast<unsigned long>(clockId));
    Write(0x18, clockId);
}

}  // namespace audio
