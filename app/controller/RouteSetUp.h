#pragma once

#include <memory>
#include <vector>

namespace audio {
class AudioDmaEndpoint;
}

namespace TalvoBrindlet {

/// Writes the fixed route tables of the box: links to DAC slots, ADC slots to links, and ADC slots to DAC
/// slots, at all four rates. `links` in the order primary, secondary. Event loop or start-up.
void WriteRouteTables(const std::vector<std::shared_ptr<audio::AudioDmaEndpoint>>& links,
                      audio::AudioDmaEndpoint& adcClocks, const audio::AudioDmaEndpoint& dacClocks);

}  // namespace TalvoBrindlet
