#pragma once

#include "IoCard.h"

namespace boost::asio {
class io_context;
}

namespace TalvoBrindlet {

class AdcClocksFsi_KX4093;
class AdcControlFsi_KX4093;
class DacClocksFsi_KX4093;
class DacControlFsi_KX4093;

/// The box's card: eight inputs and eight outputs.
class IoCard_KX4093 : public IoCard {
  public:
    /// Makes the ports, which write their resting gains. `io` is for the inputs' timers.
    IoCard_KX4093(std::int16_t firstInputPortId, std::int16_t firstOutputPortId, std::int8_t cardNumber,
                  std::shared_ptr<AdcControlFsi_KX4093> adcControl,
                  std::shared_ptr<DacControlFsi_KX4093> dacControl,
                  std::shared_ptr<AdcClocksFsi_KX4093> adcClocks,
                  std::shared_ptr<DacClocksFsi_KX4093> dacClocks, boost::asio::io_context& io);

    std::uint16_t GetNumInputPorts() const override;
    std::uint16_t GetNumOutputPorts() const override;
    Endpoint GetAdcEndpoint() const override;
    Endpoint GetDacEndpoint() const override;
    bool SetSampleRate(audio::FrequencyScaler scaler, SampleRates::SystemSampleRates rate) override;
    void SetReset(bool on) override;

  private:
    void MakeInputPorts(boost::asio::io_context& io);
    void MakeOutputPorts();

    std::shared_ptr<AdcControlFsi_KX4093> mAdcControl;
    std::shared_ptr<DacControlFsi_KX4093> mDacControl;
    std::shared_ptr<AdcClocksFsi_KX4093> mAdcClocks;
    std::shared_ptr<DacClocksFsi_KX4093> mDacClocks;
};

}  // namespace TalvoBrindlet
