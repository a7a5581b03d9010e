#pragma once

#include <boost/noncopyable.hpp>
#include <boost/signals2/connection.hpp>
#include <boost/signals2/signal.hpp>
#include <cstdint>

#include "GpioInputMap.h"
#include "HostFsi.h"
#include "Interruptable.h"
#include "LedMap.h"

namespace TalvoBrindlet {

/// Watches the DC supply line and its protection. Event loop only.
class PowerMonitorFsi : public fsi::HostFsi, public fsi::Interruptable, private boost::noncopyable {
  public:
    using FaultSignal = boost::signals2::signal<void(bool)>;

    explicit PowerMonitorFsi(fsi::IFsiBus& bus);

    /// Emitted at a change, with whether the fault is active now.
    FaultSignal& DcLineFaultChanged() { return mDcLineFaultChanged; }
    FaultSignal& DcProtectionFaultChanged() { return mDcProtectionFaultChanged; }

    bool IsDcLineFaultActive() const;
    bool IsDcProtectionFaultActive() const;

    /// The supply in tenths of a volt, 55 to 370; 0 below what can be measured.
    std::uint32_t ReadDcTenths() const;

    void SwitchDcLedOn(std::uint32_t pattern) { mDcLed.SwitchOn(pattern); }
    void SwitchDcLedOff() { mDcLed.SwitchOff(); }

  private:
    void OnInputChange();
    void Announce(std::uint32_t changes, std::uint32_t input, FaultSignal& signal,
                  bool (PowerMonitorFsi::*isActive)() const);

    sys::GpioInputMap mInputs;
    sys::LedMap mDcLed;
    boost::signals2::scoped_connection mInputChangeConnection;
    FaultSignal mDcLineFaultChanged;
    FaultSignal mDcProtectionFaultChanged;
};

}  // namespace TalvoBrindlet
