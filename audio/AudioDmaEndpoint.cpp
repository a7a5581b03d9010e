#include "AudioDmaEndpoint.h"

#include <iostream>
#include <utility>

#include "Audit.h"
#include "RouteText.h"
#include "TransactionWord.h"

namespace audio {

namespace {

void LogRoute(const AudioDmaEndpoint::Route& route) {
    if (!Audit::Instance().IsEnabled(Feature::TalvoIoBox)) {
        return;
    }
    for (std::size_t position = 0; position < route.size(); ++position) {
        if (route[position] == 0) {
            AUDIT(Feature::TalvoIoBox, "# -> %d\n", static_cast<int>(position));
        } else {
            AUDIT(Feature::TalvoIoBox, "%d -> %d\n", static_cast<int>(SampleOf(route[position])),
                  static_cast<int>(position));
        }
    }
}

}  // namespace

AudioDmaEndpoint::AudioDmaEndpoint(unsigned id, unsigned sampleCount, Direction direction)
    : mId(id), mSampleCount(sampleCount), mDirection(direction) {
    if (IsSink()) {
        for (unsigned sample = 0; sample < sampleCount; ++sample) {
            mSinkWords.push_back(Word(sample));
        }
    }
}

bool AudioDmaEndpoint::HasAddress() const {
    return mId < kAddresses;
}

std::uint16_t AudioDmaEndpoint::Word(unsigned sample) const {
    return EndpointWord(mId, sample);
}

bool AudioDmaEndpoint::SetRouteText(const std::string& text, const AudioDmaEndpoint& sink,
                                    FrequencyScaler scaler, SampleRates::SystemSampleRates rate) {
    RouteText parsed = RouteText::Parse(text, mId);
    if (!parsed.IsGood()) {
        std::cerr << "### Bad: '" << text << "' parsed '" << parsed.mRest << "'\n";
        return false;
    }
    Route& route = parsed.mWords;
    route.resize(sink.SampleCount());
    LogRoute(route);
    mLinkRouteTable[{static_cast<std::uint16_t>(sink.Id()), scaler, rate}] = std::move(route);
    return true;
}

void AudioDmaEndpoint::AddDefaultRoute(const AudioDmaEndpoint& sink) {
    Route route(sink.SampleCount(), 0);
    for (unsigned sample = 0; sample < sink.SampleCount() && sample < mSampleCount; ++sample) {
        route[sample] = Word(sample);
    }
    mLinkRouteTable.emplace(
        RouteKey{static_cast<std::uint16_t>(sink.Id()), FrequencyScaler::X2, SampleRates::SR48k},
        std::move(route));
}

const AudioDmaEndpoint::Route& AudioDmaEndpoint::CurrentRoute(const AudioDmaEndpoint& sink) {
    const RouteKey key{static_cast<std::uint16_t>(sink.Id()), Scaler(), Rate()};
    return mLinkRouteTable.try_emplace(key, sink.SampleCount(), std::uint16_t{0}).first->second;
}

}  // namespace audio
