#include "PowerMonitorFsi.h"

#include "Audit.h"
#include "Registers.h"

namespace TalvoBrindlet {

namespace {

constexpr unsigned kInputChange = 0;  // interrupt id
constexpr std::uint32_t kPowerUpAcknowledge = 0x2;

constexpr std::uint32_t kAllInputs = 0xFFFFFFFF;
constexpr std::uint32_t kDcLineFault = 0x1000;
constexpr std::uint32_t kNoDcProtectionFault = 0x2000;

}  // namespace

PowerMonitorFsi::PowerMonitorFsi(fsi::IFsiBus& bus)
    : HostFsi(bus, "000A", 0), Interruptable(*this, {kInputChange}), mInputs(*this), mDcLed(*this) {
    mInputs.ClearChanges(kAllInputs);
    Write(fsi::registers::kInterruptAcknowledge,
          Read(fsi::registers::kInterruptAcknowledge) | kPowerUpAcknowledge);
    mInputs.EnableChanges(kDcLineFault | kNoDcProtectionFault);
    mInputChangeConnection = Connect(kInputChange, [this] { OnInputChange(); });
}

void PowerMonitorFsi::OnInputChange() {
    const std::uint32_t changes = mInputs.Changes();
    AUDIT(Feature::PowerMonitoringDebug, "Brindlet: Interrupt occurred - change register is 0x%-8.8lx \n",
          static_cast<unsigned long>(changes));
    Announce(changes, kNoDcProtectionFault, mDcProtectionFaultChanged,
             &PowerMonitorFsi::IsDcProtectionFaultActive);
    Announce(changes, kDcLineFault, mDcLineFaultChanged, &PowerMonitorFsi::IsDcLineFaultActive);
}

void PowerMonitorFsi::Announce(std::uint32_t changes, std::uint32_t input, FaultSignal& signal,
                               bool (PowerMonitorFsi::*isActive)() const) {
    if ((changes & input) == 0) {
        return;
    }
    mInputs.ClearChanges(input);
    if (!signal.empty()) {
        signal((this->*isActive)());
    }
}

bool PowerMonitorFsi::IsDcLineFaultActive() const {
    const bool active = (mInputs.Inputs() & kDcLineFault) != 0;
    AUDIT(Feature::PowerMonitoringDebug, "Brindlet: DC line fault Active %d \n", active);
    return active;
}

bool PowerMonitorFsi::IsDcProtectionFaultActive() const {
    const bool active = (mInputs.Inputs() & kNoDcProtectionFault) == 0;
    AUDIT(Feature::PowerMonitoringDebug, "Brindlet: DC Protection Fault Active %d \n", active);
    return active;
}

}  // namespace TalvoBrindlet
