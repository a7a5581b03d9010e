#include "OutputPort_KX4093.h"

#include <map>

#include "Audit.h"
#include "DacControlFsiInterface.h"

namespace TalvoBrindlet {

namespace {

/// The codes of the converters' gains, by cB.
const std::map<std::int32_t, std::uint32_t>& GainCodes() {
    static const std::map<std::int32_t, std::uint32_t> kCodes{{0, 0},   {-40, 1},  {-60, 2},
                                                              {-80, 3}, {-100, 4}, {-130, 5}};
    return kCodes;
}

}  // namespace

bool OutputPort_KX4093::SetGain(std::int32_t gain) {
    const auto row = GainCodes().find(gain);
    if (row == GainCodes().end()) {
        AUDIT(Feature::Fault, "Brindlet: failed to set gain of %ld for output port %u \n", long{gain},
              static_cast<unsigned>(PortId()));
        return false;
    }
    mDac->SetGain(row->second);
    mGain = gain;
    AUDIT(Feature::TalvoIoBox, "Brindlet: Set gain for output port %u to %ld\n",
          static_cast<unsigned>(PortId()), long{gain});
    return true;
}

}  // namespace TalvoBrindlet
