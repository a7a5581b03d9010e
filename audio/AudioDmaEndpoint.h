#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "SampleRateDevice.h"
#include "SampleRates.h"

namespace audio {

/// One address of the audio DMA engine, with the route tables of what it feeds. Event loop only.
class AudioDmaEndpoint : public SampleRateDevice {
  public:
    enum class Direction : std::uint32_t { Source = 0, Sink = 1, Both = 2 };

    /// Source words, one for each sample of a sink; 0 is silence.
    using Route = std::vector<std::uint16_t>;

    /// `id` is the address, 0 to 7, `sampleCount` 1 to 512. The id may come from hardware: one above 7 is
    /// kept as it is and leaves the endpoint without an address.
    AudioDmaEndpoint(unsigned id, unsigned sampleCount, Direction direction);

    unsigned Id() const { return mId; }
    unsigned SampleCount() const { return mSampleCount; }
    Direction GetDirection() const { return mDirection; }

    /// Whether the id is one of the engine's addresses. An endpoint without one can't be routed from or to.
    bool HasAddress() const;
    bool IsSource() const { return mDirection != Direction::Sink && HasAddress(); }
    bool IsSink() const { return mDirection != Direction::Source && HasAddress(); }

    /// The endpoint words of the samples that can be fed, ascending; empty for a source.
    const std::vector<std::uint16_t>& SinkWords() const { return mSinkWords; }

    /// The endpoint word of one of its samples.
    std::uint16_t Word(unsigned sample) const;

    /// Writes the route table towards `sink` at this scaler and rate from a text (RouteText), cut or padded
    /// with silence to the sink's samples. A bad text is reported on standard error and changes nothing:
    /// false.
    bool SetRouteText(const std::string& text, const AudioDmaEndpoint& sink, FrequencyScaler scaler,
                      SampleRates::SystemSampleRates rate);

    /// Adds the straight table towards `sink` (sample n from sample n) at X2 and 48 kHz, unless one is there.
    void AddDefaultRoute(const AudioDmaEndpoint& sink);

    /// The table towards `sink` at the present scaler and rate; where none was written, a silent one is
    /// added.
    const Route& CurrentRoute(const AudioDmaEndpoint& sink);

  private:
    using RouteKey = std::tuple<std::uint16_t, FrequencyScaler, SampleRates::SystemSampleRates>;

    unsigned mId;
    unsigned mSampleCount;
    Direction mDirection;
    std::vector<std::uint16_t> mSinkWords;
    std::map<RouteKey, Route> mLinkRouteTable;
};

}  // namespace audio
