#include "T2RouterChangeProcessor.h"

#include "Audit.h"
#include "OutputPort.h"

namespace TalvoBrindlet {

namespace {

constexpr auto kPrimary = static_cast<std::uint32_t>(PortUsage::PrimaryLink);
constexpr auto kSecondary = static_cast<std::uint32_t>(PortUsage::SecondaryLink);
constexpr auto kNone = static_cast<std::uint32_t>(PortUsage::NoLink);

}  // namespace

bool T2RouterChangeProcessor::ApplyRouterChange(IoCard& card, std::uint32_t active) {
    mRoute = active;
    return Apply(card);
}

bool T2RouterChangeProcessor::ApplyLinkChange(IoCard& card, std::uint32_t active, bool primaryUp,
                                              bool secondaryUp) {
    mRoute = active;
    if (active == kNone) {
        if (primaryUp || secondaryUp) {
            AUDIT(Feature::TalvoIoBoxVerbose,
                  "Brindlet: Received notification of a Talvo Link up before the Talvo Active Router "
                  "event\n");
        }
        return false;
    }
    if (!primaryUp && !secondaryUp) {
        AUDIT(Feature::TalvoIoBoxVerbose,
              "Brindlet: Received notification of both Talvo Links down before the Talvo NoPortsActive "
              "event\n");
        return false;
    }
    if (active == kPrimary && primaryUp && !secondaryUp) {
        AUDIT(Feature::TalvoIoBoxVerbose,
              "Brindlet: Primary Talvo link was active. Removing output mappings to the secondary link as it "
              "has gone down. \n");
        return Apply(card);
    }
    if (active == kSecondary && !primaryUp && secondaryUp) {
        AUDIT(Feature::TalvoIoBoxVerbose,
              "Brindlet: Secondary Talvo link was active. Removing output mappings to the primary link as it "
              "has gone down. \n");
        return Apply(card);
    }
    return false;
}

bool T2RouterChangeProcessor::Evaluate(const std::shared_ptr<OutputPort>& port) {
    if (mRoute <= kNone) {
        port->SetUsage(static_cast<PortUsage>(mRoute));
    }
    return true;
}

}  // namespace TalvoBrindlet
