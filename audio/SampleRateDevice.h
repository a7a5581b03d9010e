#pragma once

#include "SampleRates.h"

namespace audio {

/// Base of whatever follows the sample rate. Event loop only.
class SampleRateDevice {
  public:
    SampleRateDevice() = default;
    SampleRateDevice(const SampleRateDevice&) = delete;
    SampleRateDevice& operator=(const SampleRateDevice&) = delete;
    virtual ~SampleRateDevice() = default;

    /// Passes the request on to the device, always, and the notice of a change only where the values differ
    /// from the present ones. Returns whether they did.
    bool SetSampleRate(FrequencyScaler scaler, SampleRates::SystemSampleRates rate);

    FrequencyScaler Scaler() const { return mScaler; }
    SampleRates::SystemSampleRates Rate() const { return mRate; }

  protected:
    virtual void OnSampleRateChanged() {}
    virtual void OnSampleRateChangeRequested(FrequencyScaler /*scaler*/,
                                             SampleRates::SystemSampleRates /*rate*/) {}

  private:
    FrequencyScaler mScaler = FrequencyScaler::X1;
    SampleRates::SystemSampleRates mRate = SampleRates::SR48k;
};

}  // namespace audio
