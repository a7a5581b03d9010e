#include "SampleRates.h"

#include <array>

namespace {

struct RateRow {
    SampleRates::SystemSampleRates mRate;
    std::string_view mWord;
    const char* mText;
};

constexpr std::array<RateRow, 4> kRates{{{SampleRates::SR48k, "SR48k", "48kHz"},
                                         {SampleRates::SR96k, "SR96k", "96kHz"},
                                         {SampleRates::SR44_1k, "SR44_1k", "44.1kHz"},
                                         {SampleRates::SR88_2k, "SR88_2k", "88.2kHz"}}};

constexpr std::array<const char*, 3> kScalers{{"X1", "X2", "X4"}};

}  // namespace

const char* SampleRates::Text(SystemSampleRates rate) {
    for (const RateRow& row : kRates) {
        if (row.mRate == rate) {
            return row.mText;
        }
    }
    return "UNKNOWN SAMPLE RATE";
}

std::optional<SampleRates::SystemSampleRates> SampleRates::FromWord(std::string_view word) {
    for (const RateRow& row : kRates) {
        if (row.mWord == word) {
            return row.mRate;
        }
    }
    return std::nullopt;
}

const char* audio::Text(FrequencyScaler scaler) {
    const auto index = static_cast<std::size_t>(scaler);
    return index < kScalers.size() ? kScalers[index] : "Unknown frequency multiplier.";
}

std::optional<audio::FrequencyScaler> audio::ScalerFromWord(std::string_view word) {
    for (std::size_t index = 0; index < kScalers.size(); ++index) {
        if (kScalers[index] == word) {
            return static_cast<FrequencyScaler>(index);
        }
    }
    return std::nullopt;
}
