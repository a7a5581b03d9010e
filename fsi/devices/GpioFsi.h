#pragma once

#include <boost/noncopyable.hpp>
#include <boost/signals2/signal.hpp>
#include <cstdint>

#include "GpioInputMap.h"
#include "HostFsi.h"
#include "LedMap.h"
#include "OperatingMode.h"

namespace TalvoBrindlet {

/// The switches of the box and its OK LED. Event loop only.
class GpioFsi : public fsi::HostFsi, private boost::noncopyable {
  public:
    using ModeChangeSignal = boost::signals2::signal<void(const OperatingMode&)>;

    explicit GpioFsi(fsi::IFsiBus& bus);

    /// The eight DIP switches as they stand now.
    std::uint8_t ReadDipSwitches() const;

    void SwitchOkLedOn() { mOkLed.SwitchOn(0); }
    void SwitchOkLedOff() { mOkLed.SwitchOff(); }

    /// Announces a change of the mode switch.
    ModeChangeSignal& ModeChanged() { return mModeChanged; }

  private:
    sys::GpioInputMap mInputs;
    sys::LedMap mOkLed;
    ModeChangeSignal mModeChanged;
};

}  // namespace TalvoBrindlet
