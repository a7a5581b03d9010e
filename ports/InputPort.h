#pragma once

#include <boost/asio/steady_timer.hpp>
#include <cstdint>
#include <map>
#include <memory>

#include "IoPort.h"

namespace TalvoBrindlet {

class AdcControlFsiInterface;

/// An analogue input: a stepped preamplifier, and a fine digital multiplier behind it. All gains are whole
/// centibels.
class InputPort : public IoPort, public std::enable_shared_from_this<InputPort> {
  public:
    using GainTable = std::map<std::int32_t, std::uint8_t>;

    /// The fraction bits of every digital code here: 0 cB is 0x1000.
    static constexpr unsigned kDigitalGainFractionBits = 12;

    InputPort(std::shared_ptr<AdcControlFsiInterface> adc, std::int16_t portId, std::int16_t channel,
              boost::asio::io_context& io);

    /// Sets the gain for the operating level and the mic headroom in force. False where it is refused.
    virtual bool SetCoarseGain(std::int16_t gain, std::int16_t level, std::int16_t headroom);
    virtual bool SetPhantomPower(bool on);
    virtual bool SetInputOption(bool /*on*/) { return false; }
    virtual bool SetInputImpedance(std::int16_t /*impedance*/) { return false; }

    bool GetPhantomPower() const { return mPhantomPower; }
    bool GetInputOption() const { return mInputOption; }
    std::int16_t GetInputImpedance() const { return mInputImpedance; }

    /// The step in force, cut to 16 bits.
    std::int16_t GetAnalogueGain() const { return static_cast<std::int16_t>(mAnalogueGain); }

    /// The trim in force.
    std::int32_t GetDigitalGain() const { return mDigitalGain; }

    /// What a gain becomes: an analogue step, and the digital trim that makes up the rest.
    struct Split {
        std::int16_t mAnalogue;
        std::int16_t mDigital;
    };
    Split SplitGain(std::int16_t gain, std::int16_t level, std::int16_t headroom) const;

    /// The code of an analogue step; 0, and an assertion line, for a gain that is none.
    std::uint8_t EncodeAnalogueGain(std::int32_t analogue) const;

    /// The multiplier of a gain with so many fraction bits, saturated at 32 bits.
    static std::uint32_t EncodeDigitalGain(std::int32_t gain, unsigned bits);

    /// The step for a gain, by the thresholds that lie at these bases.
    virtual std::int16_t SelectAnalogueGain(std::int16_t gain, std::int16_t base0, std::int16_t base1,
                                            std::int16_t offset, std::int16_t base2) const = 0;
    virtual const GainTable& AnalogueGainTable() const = 0;

  protected:
    /// The word of the ADC channel: the analogue code below, the digital one from bit 8 on.
    std::uint32_t CombinedGain(std::int32_t analogue, std::int32_t digital) const;

    std::shared_ptr<AdcControlFsiInterface> mAdc;
    std::int32_t mAnalogueGain = 0;
    std::int32_t mDigitalGain = 0;
    bool mPhantomPower = false;
    boost::asio::steady_timer mGainTimer;
    bool mGainChangePending = false;  ///< between the two stages of a change

  private:
    const bool mInputOption = false;
    const std::int16_t mInputImpedance = 0;
};

}  // namespace TalvoBrindlet
