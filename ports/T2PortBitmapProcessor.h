#pragma once

#include <optional>

#include "T2OutputAdmaConfigProcessor.h"

struct PortBitmapCmd;

namespace TalvoBrindlet {

/// Points each port that a router's bitmap names at the link that it prefers, or at the one that is up.
class T2PortBitmapProcessor : public T2OutputAdmaConfigProcessor {
  public:
    /// `command` outlives the processor.
    T2PortBitmapProcessor(std::shared_ptr<audio::AudioDmaManager> dmaManager,
                          std::shared_ptr<audio::T2FsiLink> primaryLink,
                          std::shared_ptr<audio::T2FsiLink> secondaryLink, bool primaryUp, bool secondaryUp,
                          const PortBitmapCmd& command, audio::FrequencyScaler scaler,
                          SampleRates::SystemSampleRates rate);

    bool Evaluate(const std::shared_ptr<OutputPort>& port) override;

    /// An output port's key in a bitmap; 0xFFFF for a port that is none.
    static std::uint16_t OutputPortToAudioPort(std::int16_t portId);

    /// The link for a preference, 0 primary or 1 secondary; nothing where the port keeps what it has.
    static std::optional<PortUsage> UsageFor(std::uint8_t route, bool primaryUp, bool secondaryUp);

  private:
    const bool mPrimaryUp;
    const bool mSecondaryUp;
    const PortBitmapCmd& mCommand;
};

}  // namespace TalvoBrindlet
