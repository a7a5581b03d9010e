#include "GpioFsi.h"

namespace TalvoBrindlet {

namespace {

constexpr std::uint32_t kAllInputs = 0xFFFFFFFF;
constexpr unsigned kDipSwitchShift = 2;

}  // namespace

GpioFsi::GpioFsi(fsi::IFsiBus& bus) : HostFsi(bus, "0009", 0), mInputs(*this), mOkLed(*this) {
    mInputs.ClearChanges(kAllInputs);
}

std::uint8_t GpioFsi::ReadDipSwitches() const {
    return static_cast<std::uint8_t>(mInputs.Inputs() >> kDipSwitchShift);
}

}  // namespace TalvoBrindlet
