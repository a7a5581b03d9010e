#include "AdcControlFsi_KX4093.h"

#include "Audit.h"

namespace TalvoBrindlet {

AdcControlFsi_KX4093::AdcControlFsi_KX4093(fsi::IFsiBus& bus) : HostFsi(bus, "0007", 0) {
    for (unsigned channel = 0; channel < kChannels; ++channel) {
        mChannels.push_back(std::make_shared<audio::AnalogueDigitalMap>(*this, channel));
    }
}

audio::AnalogueDigitalMap* AdcControlFsi_KX4093::Channel(unsigned channel) {
    if (channel >= mChannels.size()) {
        AUDIT(Feature::Assert, "ADC ID out of range\n");
        return nullptr;
    }
    return mChannels[channel].get();
}

void AdcControlFsi_KX4093::SetGain(unsigned channel, std::uint32_t value) {
    audio::AnalogueDigitalMap* const map = Channel(channel);
    if (map == nullptr) {
        return;
    }
    AUDIT(Feature::TalvoIoBoxVerbose, "Sending Gain to FSI: Adc Channel %d, Combined Gain=0x%-8.8lx\n",
          static_cast<int>(channel), static_cast<unsigned long>(value));
    map->SetGain(value);
}

void AdcControlFsi_KX4093::SetPhantomPower(unsigned channel, bool enable) {
    audio::AnalogueDigitalMap* const map = Channel(channel);
    if (map == nullptr) {
        return;
    }
    if (enable) {
        map->SetBits(audio::AnalogueDigitalMap::kPhantomPower);
    } else {
        map->ClearBits(audio::AnalogueDigitalMap::kPhantomPower);
    }
    AUDIT(Feature::TalvoIoBoxVerbose, "Sending %s Phantom Power to FSI Adc Channel %d\n",
          enable ? "enable" : "disable", static_cast<int>(channel));
}

void AdcControlFsi_KX4093::EnableReset() {
    AUDIT(Feature::TalvoIoBoxVerbose, "Brindlet: enabling KX 4093 ADC reset\n");
    mChannels[0]->ClearBits(audio::AnalogueDigitalMap::kRunning);
    mInReset = true;
}

void AdcControlFsi_KX4093::DisableReset() {
    AUDIT(Feature::TalvoIoBoxVerbose, "Brindlet: disabling KX 4093 ADC reset\n");
    mChannels[0]->SetBits(audio::AnalogueDigitalMap::kRunning);
    mInReset = false;
}

void AdcControlFsi_KX4093::OnSampleRateChangeRequested(audio::FrequencyScaler /*scaler*/,
                                                       SampleRates::SystemSampleRates rate) {
    switch (rate) {
        case SampleRates::SR48k:
        case SampleRates::SR44_1k:
            mChannels[0]->SelectDoubleRate(false);
            return;
        case SampleRates::SR96k:
        case SampleRates::SR88_2k:
            mChannels[0]->SelectDoubleRate(true);
            return;
    }
    Audit::Instance().Output("Unknown sample rate requested.\n");
}

}  // namespace TalvoBrindlet
