#pragma once

#include <boost/noncopyable.hpp>
#include <cstdint>

namespace TalvoBrindlet {

/// What a card needs of its analogue to digital converters, whatever converters it has. Event loop only.
class AdcControlFsiInterface : private boost::noncopyable {
  public:
    virtual ~AdcControlFsiInterface() = default;

    virtual unsigned GetChannelCount() const = 0;

    /// `value` is the combined gain word of the channel. A channel that isn't there is logged and ignored.
    virtual void SetGain(unsigned channel, std::uint32_t value) = 0;
    virtual void SetPhantomPower(unsigned channel, bool enable) = 0;

    virtual void EnableReset() = 0;
    virtual void DisableReset() = 0;
    virtual bool IsInReset() const = 0;
};

}  // namespace TalvoBrindlet
