#pragma once

#include "InputPort.h"

namespace boost::system {
class error_code;
}

namespace TalvoBrindlet {

/// An input of the KX4093: nine analogue steps of 65 cB. A change of the step goes in two stages 10 ms apart,
/// with the trim at 0 cB in between.
class InputPort_KX4093 : public InputPort {
  public:
    /// Writes the resting gain to the converter.
    InputPort_KX4093(std::shared_ptr<AdcControlFsiInterface> adc, std::int16_t portId, std::int16_t channel,
                     boost::asio::io_context& io);

    /// A change while another is between its stages is refused, and logged. The port is held by a shared
    /// pointer.
    bool SetCoarseGain(std::int16_t gain, std::int16_t level, std::int16_t headroom) override;
    bool SetPhantomPower(bool on) override;
    std::int16_t SelectAnalogueGain(std::int16_t gain, std::int16_t base0, std::int16_t base1,
                                    std::int16_t offset, std::int16_t base2) const override;
    const GainTable& AnalogueGainTable() const override;

  private:
    void SetInOneStep(const Split& split);
    void StartTwoSteps(const Split& split);
    void SecondStage(const boost::system::error_code& error, const Split& split);
};

}  // namespace TalvoBrindlet
