#pragma once

#include <cstdint>
#include <memory>

#include "IoPort.h"

namespace TalvoBrindlet {

class DacControlFsiInterface;

/// An analogue output: which router link feeds it, whether it is muted, and the gain that it was last given.
/// Link and mute reach the sound when the routing is rebuilt.
class OutputPort : public IoPort {
  public:
    OutputPort(std::shared_ptr<DacControlFsiInterface> dac, std::int16_t portId, std::int16_t channel);

    /// Gain in cB; false where it is refused.
    virtual bool SetGain(std::int32_t gain);
    std::int32_t GetGain() const { return mGain; }

    /// Always false: there is no mute of the port's own to fail.
    virtual bool SetMute(bool muted);
    bool GetMute() const { return mMuted; }
    virtual bool IsHardwareMute() const { return false; }

  protected:
    std::int32_t mGain = 0;
    std::shared_ptr<DacControlFsiInterface> mDac;

  private:
    bool mMuted = false;
};

}  // namespace TalvoBrindlet
