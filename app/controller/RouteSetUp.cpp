#include "RouteSetUp.h"

#include <array>

#include "AudioDmaEndpoint.h"
#include "Audit.h"

namespace TalvoBrindlet {

namespace {

using SampleRates::SystemSampleRates;

/// The two rates of one converter speed share a text.
struct SpeedRow {
    std::array<SystemSampleRates, 2> mRates;
    const char* mText;
};

constexpr std::array<SystemSampleRates, 2> kSingleSpeed{{SampleRates::SR48k, SampleRates::SR44_1k}};
constexpr std::array<SystemSampleRates, 2> kDoubleSpeed{{SampleRates::SR96k, SampleRates::SR88_2k}};

// The DAC slots hold their channels in the order of the converters' serial lines; at the double rates the
// other pairs of slots play the link's samples 16 to 23.
constexpr std::array<SpeedRow, 2> kOuts{{
    {kSingleSpeed, "7,6,!0,!0,5,4,!0,!0,2,3,!0,!0,0,1,!0,!0"},
    {kDoubleSpeed, "7,6,23,22,5,4,21,20,2,3,18,19,0,1,16,17"},
}};

constexpr std::array<SpeedRow, 2> kIns{{
    {kSingleSpeed, "2,3,6,7,10,11,14,15"},
    {kDoubleSpeed, "0,1,4,5,8,9,12,13,!0-7,2,3,6,7,10,11,14,15"},
}};

// Only the first two slots are looped back, crossed.
constexpr std::array<SpeedRow, 2> kLoopback{{{kSingleSpeed, "1,0"}, {kDoubleSpeed, "1,0"}}};

/// Writes one text for each rate and sink; `log` is called with each rate's text first.
template <class Sinks, class Log>
void Write(const std::array<SpeedRow, 2>& rows, audio::AudioDmaEndpoint& source, const Sinks& sinks,
           const Log& log) {
    for (const SpeedRow& row : rows) {
        for (const SystemSampleRates rate : row.mRates) {
            log(SampleRates::Text(rate));
            for (const audio::AudioDmaEndpoint* sink : sinks) {
                source.SetRouteText(row.mText, *sink, audio::FrequencyScaler::X2, rate);
            }
        }
    }
}

}  // namespace

void WriteRouteTables(const std::vector<std::shared_ptr<audio::AudioDmaEndpoint>>& links,
                      audio::AudioDmaEndpoint& adcClocks, const audio::AudioDmaEndpoint& dacClocks) {
    std::vector<const audio::AudioDmaEndpoint*> linkSinks;
    const std::vector<const audio::AudioDmaEndpoint*> dacSink{&dacClocks};
    for (const auto& link : links) {
        linkSinks.push_back(link.get());
        Write(kOuts, *link, dacSink,
              [](const char* rate) { AUDIT(Feature::Information, "Setting up out x2 @ %s\n", rate); });
    }
    Write(kIns, adcClocks, linkSinks,
          [](const char* rate) { AUDIT(Feature::Information, "Setting up ins x2 @ %s\n", rate); });
    AUDIT(Feature::Information, "Setting up loopback x2@48K\n");
    Write(kLoopback, adcClocks, dacSink,
          [](const char* rate) { AUDIT(Feature::Information, "Setting up loopback x2 @ %s\n", rate); });
}

}  // namespace TalvoBrindlet
