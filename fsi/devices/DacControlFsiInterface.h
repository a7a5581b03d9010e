#pragma once

#include <boost/noncopyable.hpp>
#include <cstdint>

namespace TalvoBrindlet {

/// What a card needs of its digital to analogue converters, whatever converters it has. Event loop only.
class DacControlFsiInterface : private boost::noncopyable {
  public:
    virtual ~DacControlFsiInterface() = default;

    virtual unsigned GetChannelCount() const = 0;

    /// One gain code serves all channels; its low 16 bits count.
    virtual void SetGain(std::uint32_t code) = 0;

    virtual void EnableReset() = 0;
    virtual void DisableReset() = 0;
    virtual bool IsInReset() const = 0;
};

}  // namespace TalvoBrindlet
