#pragma once

#include <boost/signals2/connection.hpp>

#include "DacControlFsiInterface.h"
#include "DigitalAnalogueMap.h"
#include "GpioInputMap.h"
#include "HostFsi.h"
#include "Interruptable.h"
#include "SampleRateDevice.h"

namespace TalvoBrindlet {

/// The eight output converters of the KX4093. They run at any rate of the box without being told.
class DacControlFsi_KX4093 : public fsi::HostFsi,
                             public fsi::Interruptable,
                             public DacControlFsiInterface,
                             public audio::SampleRateDevice {
  public:
    explicit DacControlFsi_KX4093(fsi::IFsiBus& bus);

    unsigned GetChannelCount() const override { return 8; }
    void SetGain(std::uint32_t code) override;
    void EnableReset() override;
    void DisableReset() override;
    bool IsInReset() const override { return mInReset; }

  private:
    bool mInReset = false;
    audio::DigitalAnalogueMap mConverters;
    sys::GpioInputMap mInputs;
    boost::signals2::scoped_connection mMuteStateConnection;
};

}  // namespace TalvoBrindlet
