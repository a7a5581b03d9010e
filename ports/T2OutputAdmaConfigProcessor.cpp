#include "T2OutputAdmaConfigProcessor.h"

#include <utility>

#include "AudioDmaManager.h"
#include "Audit.h"
#include "IoCard.h"
#include "T2FsiLink.h"

namespace TalvoBrindlet {

namespace {

/// The output kind whose routing is rebuilt here.
constexpr std::uint32_t kRoutedOutputKind = 2;

}  // namespace

/// Ports by what they play; a muted one counts under its link too.
struct T2OutputAdmaConfigProcessor::Counts {
    std::uint16_t mPrimary = 0;
    std::uint16_t mSecondary = 0;
    std::uint16_t mMutes = 0;

    void Count(const OutputPort& port) {
        mPrimary += port.Usage() == PortUsage::PrimaryLink ? 1 : 0;
        mSecondary += port.Usage() == PortUsage::SecondaryLink ? 1 : 0;
        mMutes += port.GetMute() ? 1 : 0;
    }
};

T2OutputAdmaConfigProcessor::T2OutputAdmaConfigProcessor(std::shared_ptr<audio::AudioDmaManager> dmaManager,
                                                         std::shared_ptr<audio::T2FsiLink> primaryLink,
                                                         std::shared_ptr<audio::T2FsiLink> secondaryLink,
                                                         audio::FrequencyScaler scaler,
                                                         SampleRates::SystemSampleRates rate)
    : mPrimaryLinkEndpoint(std::move(primaryLink)),
      mSecondaryLinkEndpoint(std::move(secondaryLink)),
      mScaler(scaler),
      mRate(rate),
      mDmaManager(std::move(dmaManager)) {}

bool T2OutputAdmaConfigProcessor::Evaluate(const std::shared_ptr<OutputPort>& /*port*/) {
    return true;
}

bool T2OutputAdmaConfigProcessor::Apply(IoCard& card) {
    const IoCard::Endpoint dac = card.GetDacEndpoint();
    if (card.GetKinds().mOutput != kRoutedOutputKind) {
        return true;
    }
    const Words* const tables[] = {&mPrimaryLinkEndpoint->CurrentRoute(*dac),
                                   &mSecondaryLinkEndpoint->CurrentRoute(*dac)};
    Words result(dac->SampleCount(), 0);
    Counts counts;
    for (const auto& port : card.OutputPorts()) {
        Evaluate(port);
        counts.Count(*port);
        Route(*port, card.GetNumOutputPorts(), tables, result);
    }
    mDmaManager->SetSinkSources(*dac, result);
    mDmaManager->Sync();
    if (card.IsInReset()) {
        card.SetReset(false);
    }
    AUDIT(Feature::TalvoIoBox, "Brindlet:  output port usage - Primary %d, Secondary %d, Output Mutes %d\n",
          int{counts.mPrimary}, int{counts.mSecondary}, int{counts.mMutes});
    return true;
}

void T2OutputAdmaConfigProcessor::Route(const OutputPort& port, std::size_t portCount,
                                        const Words* const (&tables)[2], Words& result) {
    ForEachSlot(static_cast<std::size_t>(port.Channel()), portCount, result.size(), [&](std::size_t slot) {
        if (port.GetMute()) {
            AUDIT(Feature::TalvoIoBox, "Brindlet: transaction %d for output port %u muted\n",
                  static_cast<int>(slot), static_cast<unsigned>(port.PortId()));
        } else if (port.Usage() == PortUsage::NoLink) {
            AUDIT(Feature::TalvoIoBox,
                  "Brindlet: transaction %d for to Talvo output port %d set to silence  as link is "
                  "disconnected\n",
                  static_cast<int>(slot), int{port.PortId()});
        } else {
            result[slot] = (*tables[static_cast<std::size_t>(port.Usage())])[slot];
        }
    });
}

}  // namespace TalvoBrindlet
