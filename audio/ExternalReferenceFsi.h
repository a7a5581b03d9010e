#pragma once

#include "ExternalClockSourcesMap.h"
#include "HostFsi.h"
#include "Interruptable.h"

namespace audio {

/// The external reference unit: clock measurements, PLL source and lock.
class ExternalReferenceFsi : public fsi::HostFsi, public ExternalClockSourcesMap, public fsi::Interruptable {
  public:
    using HostFsi::Read;
    using HostFsi::Write;

    explicit ExternalReferenceFsi(fsi::IFsiBus& bus);

    bool IsPllLocked() const;

    /// Disables the phase adjustment during internal frame sync.
    void SetPhaseFreeze(bool on);
};

}  // namespace audio
