#pragma once

#include "T2OutputAdmaConfigProcessor.h"

namespace TalvoBrindlet {

/// Points every output port at one link, or at none.
class T2RouterChangeProcessor : public T2OutputAdmaConfigProcessor {
  public:
    using T2OutputAdmaConfigProcessor::T2OutputAdmaConfigProcessor;

    /// `active` is 0 primary, 1 secondary, 2 none.
    bool ApplyRouterChange(IoCard& card, std::uint32_t active);

    /// A link has come or gone: where the active one is up and the other one isn't, no port stays on the
    /// other. False where nothing was rebuilt, since another event is awaited.
    bool ApplyLinkChange(IoCard& card, std::uint32_t active, bool primaryUp, bool secondaryUp);

    bool Evaluate(const std::shared_ptr<OutputPort>& port) override;

  private:
    std::uint32_t mRoute = static_cast<std::uint32_t>(PortUsage::NoLink);
};

}  // namespace TalvoBrindlet
