#include "InternalClocksFsi.h"

#include <utility>

#include "Audit.h"
#include "Registers.h"

namespace TalvoBrindlet {

namespace {

constexpr std::uint32_t kIdMask = 0xFF;

}  // namespace

InternalClocksFsi::InternalClocksFsi(fsi::IFsiBus& bus, const std::string& identity, DividerTable dividers,
                                     unsigned sampleCount, Direction direction, unsigned endpointId)
    : HostFsi(bus, identity, 0),
      AudioDmaEndpoint(endpointId != 0 ? endpointId : HostFsi::Read(fsi::registers::kIdentity) & kIdMask,
                       sampleCount, direction),
      mDividerMap(std::make_shared<audio::InternalClockDividerMap>(*this)),
      mDividers(std::move(dividers)) {}

void InternalClocksFsi::OnSampleRateChangeRequested(audio::FrequencyScaler /*scaler*/,
                                                    SampleRates::SystemSampleRates rate) {
    auto found = mDividers.find(rate);
    if (found == mDividers.end()) {
        AUDIT(Feature::Fault, "Sample rate %s not found in clock definition, defaulting to 48k.\n",
              SampleRates::Text(rate));
        found = mDividers.try_emplace(SampleRates::SR48k).first;
    }
    const auto& dividers = found->second;
    AUDIT(Feature::TalvoIoBox, "Setting Audio clocks - Master= 0x%x, Bit=0x%x, Word=0x%x, Spare=0x%x\n",
          dividers.mMaster, dividers.mBit, dividers.mWord, dividers.mSpare);
    mDividerMap->Set(dividers);
}

void DacClocksFsi::OnSampleRateChangeRequested(audio::FrequencyScaler scaler,
                                               SampleRates::SystemSampleRates rate) {
    AUDIT(Feature::TalvoIoBox, "%s : %s\n",
          "virtual void TalvoBrindlet::DacClocksFsi::OnSampleRateChangeRequested(audio::FrequencyScaler, "
          "SampleRates::SystemSampleRates)",
          SampleRates::Text(rate));
    InternalClocksFsi::OnSampleRateChangeRequested(scaler, rate);
}

}  // namespace TalvoBrindlet
