#include "SampleRateDevice.h"

namespace audio {

bool SampleRateDevice::SetSampleRate(FrequencyScaler scaler, SampleRates::SystemSampleRates rate) {
    OnSampleRateChangeRequested(scaler, rate);
    if (mScaler == scaler && mRate == rate) {
        return false;
    }
    mScaler = scaler;
    mRate = rate;
    OnSampleRateChanged();
    return true;
}

}  // namespace audio
