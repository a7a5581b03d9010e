#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// The sample rates that the whole audio network knows. The values travel in router commands.
namespace SampleRates {

enum SystemSampleRates : std::uint32_t { SR48k = 0, SR96k = 1, SR44_1k = 2, SR88_2k = 3 };

/// Display text, such as "44.1kHz"; "UNKNOWN SAMPLE RATE" for any other value. Any thread.
const char* Text(SystemSampleRates rate);

/// The rate that an option word such as "SR44_1k" names, exact case; nothing for an unknown word.
std::optional<SystemSampleRates> FromWord(std::string_view word);

}  // namespace SampleRates

namespace audio {

/// Multiplier between the network's frame rate and the sample rate.
enum class FrequencyScaler : std::uint32_t { X1 = 0, X2 = 1, X4 = 2 };

/// "X1", "X2", "X4", or "Unknown frequency multiplier." for any other value. Any thread.
const char* Text(FrequencyScaler scaler);

/// The scaler that a word such as "X2" names, exact case; nothing for an unknown word.
std::optional<FrequencyScaler> ScalerFromWord(std::string_view word);

}  // namespace audio
