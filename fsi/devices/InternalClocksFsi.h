#pragma once

#include <boost/noncopyable.hpp>
#include <map>
#include <memory>
#include <string>

#include "AudioDmaEndpoint.h"
#include "HostFsi.h"
#include "InternalClockDividerMap.h"

namespace TalvoBrindlet {

/// The clock dividers of a group of converters, and these as an audio endpoint: its samples are the time
/// slots of the converters' serial lines. Event loop only.
class InternalClocksFsi : public fsi::HostFsi, public audio::AudioDmaEndpoint, private boost::noncopyable {
  public:
    using DividerTable = std::map<SampleRates::SystemSampleRates, audio::InternalClockDividerMap::Dividers>;

    /// `endpointId` 0 takes the id that the FPGA gives in the block's identity byte.
    InternalClocksFsi(fsi::IFsiBus& bus, const std::string& identity, DividerTable dividers,
                      unsigned sampleCount, Direction direction, unsigned endpointId);

  protected:
    /// Programs the dividers of a rate; those of 48 kHz, and a fault line, for a rate without any.
    void OnSampleRateChangeRequested(audio::FrequencyScaler scaler,
                                     SampleRates::SystemSampleRates rate) override;

  private:
    std::shared_ptr<audio::InternalClockDividerMap> mDividerMap;
    DividerTable mDividers;
};

/// The clocks of input converters.
class AdcClocksFsi : public InternalClocksFsi {
  public:
    using InternalClocksFsi::InternalClocksFsi;
};

/// The clocks of output converters.
class DacClocksFsi : public InternalClocksFsi {
  public:
    using InternalClocksFsi::InternalClocksFsi;

  protected:
    void OnSampleRateChangeRequested(audio::FrequencyScaler scaler,
                                     SampleRates::SystemSampleRates rate) override;
};

}  // namespace TalvoBrindlet
