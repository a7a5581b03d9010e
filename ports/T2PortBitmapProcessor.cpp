#include "T2PortBitmapProcessor.h"

#include <array>
#include <utility>

#include "Audit.h"
#include "DeskCommands.h"
#include "OutputPort.h"

namespace TalvoBrindlet {

namespace {

void LogBitmap(const PortBitmapCmd& command) {
    if (!Audit::Instance().IsEnabled(Feature::TalvoIoBoxVerbose)) {
        return;
    }
    AUDIT(Feature::TalvoIoBoxVerbose, "Brindlet: Processing Port Bitmap:\n");
    unsigned long index = 0;
    for (const auto& [audioPort, entry] : command.mEntries) {
        AUDIT(Feature::TalvoIoBoxVerbose, "\tEntry=%lu\tAudio port=%u\tSrc hid=0x%-8.8lx\t+Route=%u\n",
              index++, unsigned{audioPort}, static_cast<unsigned long>(entry.mSrcHid),
              unsigned{entry.mRoute});
    }
}

}  // namespace

T2PortBitmapProcessor::T2PortBitmapProcessor(std::shared_ptr<audio::AudioDmaManager> dmaManager,
                                             std::shared_ptr<audio::T2FsiLink> primaryLink,
                                             std::shared_ptr<audio::T2FsiLink> secondaryLink, bool primaryUp,
                                             bool secondaryUp, const PortBitmapCmd& command,
                                             audio::FrequencyScaler scaler,
                                             SampleRates::SystemSampleRates rate)
    : T2OutputAdmaConfigProcessor(std::move(dmaManager), std::move(primaryLink), std::move(secondaryLink),
                                  scaler, rate),
      mPrimaryUp(primaryUp),
      mSecondaryUp(secondaryUp),
      mCommand(command) {
    LogBitmap(command);
}

bool T2PortBitmapProcessor::Evaluate(const std::shared_ptr<OutputPort>& port) {
    const auto entry = mCommand.mEntries.find(OutputPortToAudioPort(port->PortId()));
    if (entry == mCommand.mEntries.end()) {
        return true;
    }
    if (const auto usage = UsageFor(entry->second.mRoute, mPrimaryUp, mSecondaryUp)) {
        port->SetUsage(*usage);
    }
    return true;
}

std::uint16_t T2PortBitmapProcessor::OutputPortToAudioPort(std::int16_t portId) {
    constexpr std::array<std::uint16_t, 8> kAudioPorts{{7, 6, 5, 4, 2, 3, 0, 1}};
    constexpr std::uint16_t kNoAudioPort = 0xFFFF;
    const auto index = static_cast<std::size_t>(portId);
    return portId >= 0 && index < kAudioPorts.size() ? kAudioPorts[index] : kNoAudioPort;
}

std::optional<PortUsage> T2PortBitmapProcessor::UsageFor(std::uint8_t route, bool primaryUp,
                                                         bool secondaryUp) {
    constexpr std::uint8_t kPreferSecondary = 1;
    if (route > kPreferSecondary || (!primaryUp && !secondaryUp)) {
        return std::nullopt;
    }
    const bool takesSecondary = route == kPreferSecondary ? secondaryUp : !primaryUp;
    return takesSecondary ? PortUsage::SecondaryLink : PortUsage::PrimaryLink;
}

}  // namespace TalvoBrindlet
