#include "PowerMonitorFsi.h"

#include <algorithm>
#include <array>

#include "Audit.h"
#include "Registers.h"

namespace TalvoBrindlet {

namespace {

constexpr unsigned kInputChange = 0;  // interrupt id
constexpr std::uint32_t kPowerUpAcknowledge = 0x2;

constexpr std::uint32_t kAllInputs = 0xFFFFFFFF;
constexpr std::uint32_t kDcLineFault = 0x1000;
constexpr std::uint32_t kNoDcProtectionFault = 0x2000;
constexpr std::uint32_t kDcReading = 0x0FFF;

/// The supply's range in tenths of a volt. Below it a supply counts as absent.
constexpr std::uint32_t kLeastTenths = 55;
constexpr std::uint32_t kMostTenths = 370;

/// The greatest reading that still counts as 5.5 V; the fit of the others is one above it there.
constexpr std::uint32_t kLeastReading = 545;

using ReadingTable = std::array<std::uint32_t, kMostTenths - kLeastTenths + 1>;

/// For each tenth of a volt the greatest reading that still counts as that: (tenths - 0.67) / 0.0995,
/// rounded.
constexpr ReadingTable GreatestReadings() {
    ReadingTable readings{};
    for (std::uint32_t row = 0; row < readings.size(); ++row) {
        readings[row] = ((kLeastTenths + row) * 10000 - 6700 + 995 / 2) / 995;
    }
    readings[0] = kLeastReading;
    return readings;
}

constexpr ReadingTable kGreatestReadings = GreatestReadings();

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

std::uint32_t PowerMonitorFsi::ReadDcTenths() const {
    const std::uint32_t reading = mInputs.Inputs() & kDcReading;
    AUDIT(Feature::PowerMonitoringDebug, "Brindlet: DC Supply ADC reading is now 0x%-8.8lx( %ld ), ",
          static_cast<unsigned long>(reading), static_cast<long>(reading));
    std::uint32_t tenths = 0;
    if (reading >= kLeastReading) {
        const auto* const row = std::lower_bound(kGreatestReadings.begin(), kGreatestReadings.end(), reading);
        tenths =
            std::min(kLeastTenths + static_cast<std::uint32_t>(row - kGreatestReadings.begin()), kMostTenths);
    }
    if (Audit::Instance().IsEnabled(Feature::PowerMonitoringDebug)) {
        Audit::Instance().Output("gives a DC Supply of %-3.1f V ( %ld 1/10ths Volt )\n", tenths / 10.0,
                                 static_cast<long>(tenths));
    }
    return tenths;
}

}  // namespace TalvoBrindlet
