#include "IoCard_KX4093.h"

#include <utility>

#include "AdcControlFsi_KX4093.h"
#include "Audit.h"
#include "ClocksFsi_KX4093.h"
#include "DacControlFsi_KX4093.h"
#include "InputPort_KX4093.h"
#include "OutputPort_KX4093.h"

namespace TalvoBrindlet {

namespace {

constexpr std::uint32_t kCardClass = 1;
constexpr const char* kCardName = "KX4093";
constexpr IoCard::Kinds kKinds{1, 1, 2, 2};

}  // namespace

IoCard_KX4093::IoCard_KX4093(std::int16_t firstInputPortId, std::int16_t firstOutputPortId,
                             std::int8_t cardNumber, std::shared_ptr<AdcControlFsi_KX4093> adcControl,
                             std::shared_ptr<DacControlFsi_KX4093> dacControl,
                             std::shared_ptr<AdcClocksFsi_KX4093> adcClocks,
                             std::shared_ptr<DacClocksFsi_KX4093> dacClocks, boost::asio::io_context& io)
    : IoCard(firstInputPortId, firstOutputPortId, kCardClass, cardNumber, kCardName, kKinds),
      mAdcControl(std::move(adcControl)),
      mDacControl(std::move(dacControl)),
      mAdcClocks(std::move(adcClocks)),
      mDacClocks(std::move(dacClocks)) {
    MakeInputPorts(io);
    MakeOutputPorts();
    // Until the first routing: whatever the converters are in, that one is to release them.
    mInReset = true;
}

void IoCard_KX4093::MakeInputPorts(boost::asio::io_context& io) {
    const int count = static_cast<int>(mAdcControl->GetChannelCount());
    AUDIT(Feature::TalvoIoBox, "Brindlet: creating input ports %d to %d\n", int{mFirstInputPortId},
          mFirstInputPortId + count - 1);
    for (int channel = 0; channel < count; ++channel) {
        mInputPorts.push_back(std::make_shared<InputPort_KX4093>(
            mAdcControl, static_cast<std::int16_t>(mFirstInputPortId + channel),
            static_cast<std::int16_t>(channel), io));
    }
}

void IoCard_KX4093::MakeOutputPorts() {
    const int count = static_cast<int>(mDacControl->GetChannelCount());
    AUDIT(Feature::TalvoIoBox, "Brindlet: creating output ports %d to %d\n", int{mFirstOutputPortId},
          mFirstOutputPortId + count - 1);
    for (int channel = 0; channel < count; ++channel) {
        mOutputPorts.push_back(std::make_shared<OutputPort_KX4093>(
            mDacControl, static_cast<std::int16_t>(mFirstOutputPortId + channel),
            static_cast<std::int16_t>(channel)));
    }
}

std::uint16_t IoCard_KX4093::GetNumInputPorts() const {
    return static_cast<std::uint16_t>(mInputPorts.size());
}

std::uint16_t IoCard_KX4093::GetNumOutputPorts() const {
    return static_cast<std::uint16_t>(mOutputPorts.size());
}

IoCard::Endpoint IoCard_KX4093::GetAdcEndpoint() const {
    return mAdcClocks;
}

IoCard::Endpoint IoCard_KX4093::GetDacEndpoint() const {
    return mDacClocks;
}

bool IoCard_KX4093::SetSampleRate(audio::FrequencyScaler scaler, SampleRates::SystemSampleRates rate) {
    AUDIT(Feature::TalvoIoBox, "Brindlet: KX4093 card setting sample rate to %s @ %s\n",
          SampleRates::Text(rate), audio::Text(scaler));
    mAdcControl->SetSampleRate(scaler, rate);
    mDacControl->SetSampleRate(scaler, rate);
    mAdcClocks->SetSampleRate(scaler, rate);
    mDacClocks->SetSampleRate(scaler, rate);
    AUDIT(Feature::TalvoIoBox, "Brindlet: *KX4093 card finished setting sample rate to %s @ %s\n",
          SampleRates::Text(rate), audio::Text(scaler));
    return true;
}

void IoCard_KX4093::SetReset(bool on) {
    if (on) {
        mAdcControl->EnableReset();
        mDacControl->EnableReset();
    } else {
        mAdcControl->DisableReset();
        mDacControl->DisableReset();
    }
    mInReset = on;
}

}  // namespace TalvoBrindlet
