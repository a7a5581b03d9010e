#include "IoCard.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace TalvoBrindlet {

namespace {

template <class Ports>
std::vector<std::int16_t> PortIds(const Ports& ports) {
    std::vector<std::int16_t> ids;
    std::transform(ports.begin(), ports.end(), std::back_inserter(ids),
                   [](const auto& port) { return port->PortId(); });
    return ids;
}

}  // namespace

IoCard::IoCard(std::int16_t firstInputPortId, std::int16_t firstOutputPortId, std::uint32_t cardClass,
               std::int8_t cardNumber, std::string cardName, const Kinds& kinds)
    : mFirstInputPortId(firstInputPortId),
      mFirstOutputPortId(firstOutputPortId),
      mCardClass(cardClass),
      mCardNumber(cardNumber),
      mCardName(std::move(cardName)),
      mKinds(kinds) {}

IoCardInfo IoCard::GetIoInfo() const {
    IoCardInfo info;
    info.mCardNumber = static_cast<std::uint8_t>(mCardNumber);
    info.mName = mCardName;
    info.mInputKind = static_cast<std::uint8_t>(mKinds.mInput);
    info.mOutputKind = static_cast<std::uint8_t>(mKinds.mOutput);
    info.mInputControlKind = static_cast<std::uint8_t>(mKinds.mInputControl);
    info.mOutputControlKind = static_cast<std::uint8_t>(mKinds.mOutputControl);
    info.mInputPorts = PortIds(mInputPorts);
    info.mOutputPorts = PortIds(mOutputPorts);
    return info;
}

}  // namespace TalvoBrindlet
