#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Node.h"
#include "SampleRates.h"

namespace TalvoBrindlet {

class BrindletManager;

/// The shell's `t2cfg` commands: the state of the ports, and what a router could order for them, by the
/// router's own road. Replies say what was ordered; a refusal further down reaches the log alone. Event loop
/// only.
class CliT2PortConfigNode : public cmd::Node {
  public:
    explicit CliT2PortConfigNode(std::shared_ptr<BrindletManager> manager);

  private:
    void AddReports();
    void AddGlobalMute();
    void AddLevels();
    void AddInputs();
    void AddOutputs();
    void AddRates();
    std::string SetInputGain(std::uint32_t port, std::int32_t gain);
    std::string SetPhantomPower(std::uint16_t port, bool on);
    std::string SetOutputGain(std::uint16_t port, std::int32_t gain);
    std::string SetOutputMute(std::uint16_t port, bool on);
    std::string SetBitmap(std::int16_t port, std::uint8_t route);
    std::string SetSampleRate(audio::FrequencyScaler scaler, SampleRates::SystemSampleRates rate);

    std::shared_ptr<BrindletManager> mManager;

    // For set_ingain alone; cB.
    std::int32_t mOperatingLevel = 280;
    std::int32_t mMicHeadroom = 280;
};

}  // namespace TalvoBrindlet
