#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace audio {
class AudioDmaEndpoint;
}

namespace cmd {

/// Reads a typed list of samples, such as "0,2,10-15", as ascending endpoint words of `endpoint`. A repeated
/// sample counts once, a range that descends adds nothing. Empty for a bad text: one that can't be read to
/// its end, that goes backwards or beyond the endpoint's samples, or that names none.
std::vector<std::uint16_t> ParseSampleRanges(std::string_view text, const audio::AudioDmaEndpoint& endpoint);

}  // namespace cmd
