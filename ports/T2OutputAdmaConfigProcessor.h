#pragma once

#include <boost/noncopyable.hpp>
#include <cstdint>
#include <memory>
#include <vector>

#include "IoPort.h"
#include "SampleRates.h"

namespace audio {
class AudioDmaEndpoint;
class AudioDmaManager;
class T2FsiLink;
}  // namespace audio

namespace TalvoBrindlet {

class IoCard;
class OutputPort;

/// Rebuilds the DAC side of the routing table from what each output port is to play. Derived classes first
/// bring the ports up to date with an event. Made for one event; event loop only.
class T2OutputAdmaConfigProcessor : private boost::noncopyable {
  public:
    T2OutputAdmaConfigProcessor(std::shared_ptr<audio::AudioDmaManager> dmaManager,
                                std::shared_ptr<audio::T2FsiLink> primaryLink,
                                std::shared_ptr<audio::T2FsiLink> secondaryLink,
                                audio::FrequencyScaler scaler, SampleRates::SystemSampleRates rate);
    virtual ~T2OutputAdmaConfigProcessor() = default;

    /// Rebuilds and syncs, and releases converters that are in reset. Always true.
    bool Apply(IoCard& card);

    /// Brings one port up to date. Always true.
    virtual bool Evaluate(const std::shared_ptr<OutputPort>& port);

    /// Calls `act(slot)` for each DAC slot of an output port: its channel, and one card's width on as long as
    /// there are slots.
    template <class Act>
    static void ForEachSlot(std::size_t channel, std::size_t portCount, std::size_t slots, const Act& act) {
        for (std::size_t slot = channel; portCount > 0 && slot < slots; slot += portCount) {
            act(slot);
        }
    }

  private:
    using Words = std::vector<std::uint16_t>;
    struct Counts;

    void Route(const OutputPort& port, std::size_t portCount, const Words* const (&tables)[2], Words& result);

    std::shared_ptr<audio::T2FsiLink> mPrimaryLinkEndpoint;
    std::shared_ptr<audio::T2FsiLink> mSecondaryLinkEndpoint;
    // The rebuild takes the pair from the links themselves.
    [[maybe_unused]] const audio::FrequencyScaler mScaler;
    [[maybe_unused]] const SampleRates::SystemSampleRates mRate;
    std::shared_ptr<audio::AudioDmaManager> mDmaManager;
};

}  // namespace TalvoBrindlet
