#include "ExternalReferenceFsi.h"

namespace audio {

ExternalReferenceFsi::ExternalReferenceFsi(fsi::IFsiBus& bus)
    : HostFsi(bus, "0004", 0),
      ExternalClockSourcesMap(static_cast<fsi::HostFsi&>(*this)),
      Interruptable(*this, {0, 1, 2, 3, 4}) {}

}  // namespace audio
