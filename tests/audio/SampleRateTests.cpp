#include <gtest/gtest.h>

#include "SampleRateDevice.h"

namespace {

class Counting : public audio::SampleRateDevice {
  public:
    int mRequests = 0;
    int mChanges = 0;

  protected:
    void OnSampleRateChanged() override { ++mChanges; }
    void OnSampleRateChangeRequested(audio::FrequencyScaler /*scaler*/,
                                     SampleRates::SystemSampleRates /*rate*/) override {
        ++mRequests;
    }
};

}  // namespace

TEST(SampleRateDevice, PassesEachRequestOnAndNoticesChangesOnly) {
    Counting device;
    EXPECT_FALSE(device.SetSampleRate(audio::FrequencyScaler::X1, SampleRates::SR48k));
    EXPECT_TRUE(device.SetSampleRate(audio::FrequencyScaler::X2, SampleRates::SR48k));
    EXPECT_TRUE(device.SetSampleRate(audio::FrequencyScaler::X2, SampleRates::SR96k));
    EXPECT_FALSE(device.SetSampleRate(audio::FrequencyScaler::X2, SampleRates::SR96k));
    EXPECT_EQ(device.mRequests, 4);
    EXPECT_EQ(device.mChanges, 2);
}

TEST(SampleRates, NameEveryValueAndKnowTheirWordsOnly) {
    EXPECT_STREQ(SampleRates::Text(SampleRates::SR44_1k), "44.1kHz");
    EXPECT_STREQ(SampleRates::Text(static_cast<SampleRates::SystemSampleRates>(4)), "UNKNOWN SAMPLE RATE");
    EXPECT_STREQ(audio::Text(audio::FrequencyScaler::X4), "X4");
    EXPECT_STREQ(audio::Text(static_cast<audio::FrequencyScaler>(3)), "Unknown frequency multiplier.");
    EXPECT_EQ(SampleRates::FromWord("SR88_2k"), SampleRates::SR88_2k);
    EXPECT_EQ(SampleRates::FromWord("88.2kHz"), std::nullopt);
    EXPECT_EQ(audio::ScalerFromWord("X2"), audio::FrequencyScaler::X2);
    EXPECT_EQ(audio::ScalerFromWord("x2"), std::nullopt);
}
