#pragma once

#include <memory>
#include <vector>

#include "AdcControlFsiInterface.h"
#include "AnalogueDigitalMap.h"
#include "HostFsi.h"
#include "SampleRateDevice.h"

namespace TalvoBrindlet {

/// The eight input converters of the KX4093. They start in reset.
class AdcControlFsi_KX4093 : public fsi::HostFsi,
                             public AdcControlFsiInterface,
                             public audio::SampleRateDevice {
  public:
    explicit AdcControlFsi_KX4093(fsi::IFsiBus& bus);

    unsigned GetChannelCount() const override { return kChannels; }
    void SetGain(unsigned channel, std::uint32_t value) override;
    void SetPhantomPower(unsigned channel, bool enable) override;
    void EnableReset() override;
    void DisableReset() override;
    bool IsInReset() const override { return mInReset; }

  protected:
    /// A rate that isn't one of the four is reported and changes nothing.
    void OnSampleRateChangeRequested(audio::FrequencyScaler scaler,
                                     SampleRates::SystemSampleRates rate) override;

  private:
    static constexpr unsigned kChannels = 8;

    /// The channel's map; null, and logged, where there is no such channel.
    audio::AnalogueDigitalMap* Channel(unsigned channel);

    bool mInReset = true;
    std::vector<std::shared_ptr<audio::AnalogueDigitalMap>> mChannels;
};

}  // namespace TalvoBrindlet
