#pragma once

#include <boost/noncopyable.hpp>
#include <cstdint>

namespace TalvoBrindlet {

/// The router link that feeds an output port. The values are those of the active link.
enum class PortUsage : std::uint32_t { PrimaryLink = 0, SecondaryLink = 1, NoLink = 2 };

/// One port of a card. Event loop only.
class IoPort : private boost::noncopyable {
  public:
    IoPort(std::int16_t portId, std::int16_t channel) : mPortId(portId), mChannel(channel) {}
    virtual ~IoPort() = default;

    /// The number that routers and the shell use; inputs and outputs are numbered separately.
    std::int16_t PortId() const { return mPortId; }

    /// The port's index on its card.
    std::int16_t Channel() const { return mChannel; }

    PortUsage Usage() const { return mUsage; }
    void SetUsage(PortUsage usage) { mUsage = usage; }

  private:
    const std::int16_t mPortId;
    const std::int16_t mChannel;
    PortUsage mUsage = PortUsage::NoLink;
};

}  // namespace TalvoBrindlet
