#pragma once

#include "T2OutputAdmaConfigProcessor.h"

struct IoOutputMuteCmd;

namespace TalvoBrindlet {

/// Mutes or unmutes the port that a command names.
class T2OutputMuteProcessor : public T2OutputAdmaConfigProcessor {
  public:
    /// `command` outlives the processor.
    T2OutputMuteProcessor(std::shared_ptr<audio::AudioDmaManager> dmaManager,
                          std::shared_ptr<audio::T2FsiLink> primaryLink,
                          std::shared_ptr<audio::T2FsiLink> secondaryLink, audio::FrequencyScaler scaler,
                          SampleRates::SystemSampleRates rate, const IoOutputMuteCmd& command);

    bool Evaluate(const std::shared_ptr<OutputPort>& port) override;

  private:
    const IoOutputMuteCmd& mCommand;
};

}  // namespace TalvoBrindlet
