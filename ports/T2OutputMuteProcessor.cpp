#include "T2OutputMuteProcessor.h"

#include <utility>

#include "DeskCommands.h"
#include "OutputPort.h"

namespace TalvoBrindlet {

T2OutputMuteProcessor::T2OutputMuteProcessor(std::shared_ptr<audio::AudioDmaManager> dmaManager,
                                             std::shared_ptr<audio::T2FsiLink> primaryLink,
                                             std::shared_ptr<audio::T2FsiLink> secondaryLink,
                                             audio::FrequencyScaler scaler,
                                             SampleRates::SystemSampleRates rate,
                                             const IoOutputMuteCmd& command)
    : T2OutputAdmaConfigProcessor(std::move(dmaManager), std::move(primaryLink), std::move(secondaryLink),
                                  scaler, rate),
      mCommand(command) {}

bool T2OutputMuteProcessor::Evaluate(const std::shared_ptr<OutputPort>& port) {
    if (port->PortId() == mCommand.mPort) {
        port->SetMute(mCommand.mMute != 0);
    }
    return true;
}

}  // namespace TalvoBrindlet
