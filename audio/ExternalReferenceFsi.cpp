#include "ExternalReferenceFsi.h"

#include "Registers.h"

namespace audio {

ExternalReferenceFsi::ExternalReferenceFsi(fsi::IFsiBus& bus)
    : HostFsi(bus, "0004", 0),
      ExternalClockSourcesMap(static_cast<fsi::HostFsi&>(*this)),
      Interruptable(*this, {0, 1, 2, 3, 4}) {}

bool ExternalReferenceFsi::IsPllLocked() const {
    constexpr std::uint32_t kPllLocked = 1U << 3;
    return (Read(fsi::registers::kStatus) & kPllLocked) != 0;
}

void ExternalReferenceFsi::SetPhaseFreeze(bool on) {
    constexpr std::uint32_t kPhaseFreeze = 1U << 4;
    if (on) {
        SetControl(kPhaseFreeze);
    } else {
        ClearControl(kPhaseFreeze);
    }
}

}  // namespace audio
