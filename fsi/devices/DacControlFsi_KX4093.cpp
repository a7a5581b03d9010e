#include "DacControlFsi_KX4093.h"

#include "Audit.h"

namespace TalvoBrindlet {

namespace {

constexpr unsigned kZeroFlag = 0;
constexpr unsigned kMuteState = 1;

}  // namespace

DacControlFsi_KX4093::DacControlFsi_KX4093(fsi::IFsiBus& bus)
    : HostFsi(bus, "0008", 0),
      Interruptable(*this, {kZeroFlag, kMuteState}),
      mConverters(*this),
      mInputs(*this) {
    // Acknowledging is all that this interrupt needs.
    mMuteStateConnection = Connect(kMuteState, [] {});
}

void DacControlFsi_KX4093::SetGain(std::uint32_t code) {
    AUDIT(Feature::TalvoIoBox, "Brindlet: Setting Gain using gain code %lu \n",
          static_cast<unsigned long>(code));
    mConverters.SetGain(static_cast<std::uint16_t>(code));
}

void DacControlFsi_KX4093::EnableReset() {
    mConverters.SetBits(audio::DigitalAnalogueMap::kReset);
    mInReset = true;
}

void DacControlFsi_KX4093::DisableReset() {
    mConverters.ClearBits(audio::DigitalAnalogueMap::kReset);
    mInReset = false;
}

}  // namespace TalvoBrindlet
