#include "CliT2PortConfigNode.h"

#include <algorithm>
#include <array>
#include <utility>

#include "ActionN.h"
#include "BrindletManager.h"
#include "DeskCommands.h"

namespace TalvoBrindlet {

namespace {

using audio::FrequencyScaler;
using cmd::action::MakeAction;
using SampleRates::SystemSampleRates;

constexpr const char* kName = "t2cfg";
constexpr int kLastPort = 7;
constexpr std::uint8_t kSecondaryRoute = 1;
constexpr const char* kPortRefusal = "Enter a port ID between 0 and 7";
constexpr std::array<std::int32_t, 6> kOutputGains{{0, -40, -60, -80, -100, -130}};

std::string GlobalMuteText(bool on) {
    return std::string("Global mute is ") + (on ? "enabled" : "disabled");
}

std::string CentibelText(std::int32_t value) {
    return std::to_string(value) + " cB";
}

}  // namespace

CliT2PortConfigNode::CliT2PortConfigNode(std::shared_ptr<BrindletManager> manager)
    : Node(""), mManager(std::move(manager)) {
    AddRates();
    AddReports();
    AddGlobalMute();
    AddOutputs();
    AddLevels();
    AddInputs();
}

void CliT2PortConfigNode::AddRates() {
    AddAction(
        kName,
        {MakeAction(
             "admatst",
             [this](bool on, FrequencyScaler scaler, SystemSampleRates rate) {
                 mManager->ConfigureLoopback(on, scaler, rate);
                 return on ? "Configured and enabled loopback" : "Disabled loopback";
             },
             "Configure ADMA loop back.This configures the sample rates for ADMA loop back tests\r\n"
             "Valid rates are \r\n 48k = X1\r\n 96k = X2\r\n 192k= X4\r\n"),
         MakeAction(
             "set_samp",
             [this](FrequencyScaler scaler, SystemSampleRates rate) { return SetSampleRate(scaler, rate); },
             "Set sample rate.Syntax:\r\n   Frequency Scaler X1 or X2\r\n"
             "   Sample rate  = SR48k, SR44_1k, SR88_2k or SR96k\r\n")});
}

void CliT2PortConfigNode::AddReports() {
    AddAction(kName, {MakeAction(
                          "t2cfg",
                          [this] {
                              return "Operating level:      " + CentibelText(mOperatingLevel) +
                                     "\nMic Headroom:         " + CentibelText(mMicHeadroom) + '\n' +
                                     mManager->GetPortReport();
                          },
                          "Display Talvo port configuration."),
                      MakeAction(
                          "outgain",
                          [this](std::uint16_t port) {
                              return "Gain for output port " + std::to_string(port) + " is " +
                                     std::to_string(mManager->GetOutputGain(port));
                          },
                          "Display output port gain.")});
}

void CliT2PortConfigNode::AddGlobalMute() {
    AddAction(kName, {MakeAction(
                          "glbmute", [this] { return GlobalMuteText(mManager->GetGlobalMute()); },
                          "Display global mute status."),
                      MakeAction(
                          "set_glbmute",
                          [this](bool on) {
                              mManager->SetGlobalMute(on);
                              return GlobalMuteText(on);
                          },
                          "Set global mute.Enables or disables the global mute.\r\n")});
}

void CliT2PortConfigNode::AddOutputs() {
    AddAction(
        kName,
        {MakeAction(
             "set_bmp", [this](std::int16_t port, std::uint8_t route) { return SetBitmap(port, route); },
             "Set an output port bitmap.Sets the bitmap for one output port.\r\n"
             "Valid port values are 0 - 7.\r\n"
             "Valid route values are Primary=0, Secondary=1.\r\n"),
         MakeAction(
             "set_outgain",
             [this](std::uint16_t port, std::int32_t gain) { return SetOutputGain(port, gain); },
             "Set output port gain.Valid output gain values are 0, -40, -60, -80, -100 and -130 cB.\r\n"),
         MakeAction(
             "set_ptmt", [this](std::uint16_t port, bool on) { return SetOutputMute(port, on); },
             "Set output port mute.This sets the mute on a single output port.\r\n"
             "Valid port Ids are [0-7]\r\n")});
}

void CliT2PortConfigNode::AddLevels() {
    AddAction(kName,
              {MakeAction(
                   "set_michdr",
                   [this](std::int32_t level) {
                       mMicHeadroom = level;
                       return "Set Mic Headroom to " + CentibelText(level);
                   },
                   "Set the Mic Headroom.Sets the Mic Headroom to use when calculating the\r\n"
                   "actual gain to apply to an input port for set_ingain operations.\r\n"
                   "Value must be in centibels.\r\n"),
               MakeAction(
                   "set_oplvl",
                   [this](std::int32_t level) {
                       mOperatingLevel = level;
                       return "Set Operating Level to " + CentibelText(level);
                   },
                   "Set the Operating Level.Set the operating level to use when calculating the input\r\n"
                   "port gain to apply for set_ingain operations started through\r\n"
                   "the CLI. The value must be in centibels.\r\n")});
}

void CliT2PortConfigNode::AddInputs() {
    AddAction(kName, {MakeAction(
                          "set_ingain",
                          [this](std::uint32_t port, std::int32_t gain) { return SetInputGain(port, gain); },
                          "Set input port gain.This sets the gain for an input port.The mic headroom \r\n"
                          "and the operating level can be set through the options \r\n"
                          "set_michdr and set_oplvl respectively.\r\n"
                          "Valid port Ids are [0-7]\r\n"
                          "Valid gains are integers between -1000 and +100 centibels.\r\n "),
                      MakeAction(
                          "set_pp", [this](std::uint16_t port, bool on) { return SetPhantomPower(port, on); },
                          "Set phantom power.This sets the phantom power state for an input port.\r\n"
                          "Valid port Ids are [0-7]\r\n")});
}

std::string CliT2PortConfigNode::SetSampleRate(FrequencyScaler scaler, SystemSampleRates rate) {
    if (scaler != FrequencyScaler::X1 && scaler != FrequencyScaler::X2) {
        return "Enter a sample rate of X1 or X2";
    }
    mManager->SetSampleRate(scaler, rate, 0);
    return std::string("Sample rate set to ") + audio::Text(scaler) + SampleRates::Text(rate);
}

std::string CliT2PortConfigNode::SetInputGain(std::uint32_t port, std::int32_t gain) {
    if (port > kLastPort) {
        return std::string(kPortRefusal) + ", followed by a gain in cB";
    }
    const auto command = std::make_shared<IoSetInputParams>();
    command->mHid = mManager->GetHid();
    command->mPort = static_cast<std::uint16_t>(port);
    command->mGain = gain;
    command->mOperatingLevel = static_cast<std::int16_t>(mOperatingLevel);
    command->mMicHeadroom = static_cast<std::int16_t>(mMicHeadroom);
    command->mEnables = IoSetInputParams::kEnableGain;
    mManager->SetInputParams(command);
    return "Set gain for port" + std::to_string(port) + " to " + std::to_string(gain) +
           "cB [Operating Level = " + CentibelText(mOperatingLevel) +
           ", mic headroom = " + CentibelText(mMicHeadroom) + " ]";
}

std::string CliT2PortConfigNode::SetPhantomPower(std::uint16_t port, bool on) {
    if (port > kLastPort) {
        return kPortRefusal;
    }
    const auto command = std::make_shared<IoSetInputParams>();
    command->mPort = port;
    command->mPhantomPower = on ? 1 : 0;
    command->mEnables = IoSetInputParams::kEnablePhantomPower;
    mManager->SetInputParams(command);
    return "Phantom power for port " + std::to_string(port) + " set to " + (on ? "1" : "0");
}

std::string CliT2PortConfigNode::SetOutputGain(std::uint16_t port, std::int32_t gain) {
    if (std::find(kOutputGains.begin(), kOutputGains.end(), gain) == kOutputGains.end()) {
        return "Unknown setting! Use: 0, -40, -60, -80, -100, -130 cB";
    }
    const auto command = std::make_shared<IoSetOutputGain>();
    command->mPort = port;
    command->mGain = gain;
    mManager->SetOutputGain(command);
    return "Set gain for output port " + std::to_string(port) + " to " + CentibelText(gain);
}

std::string CliT2PortConfigNode::SetOutputMute(std::uint16_t port, bool on) {
    if (port > kLastPort) {
        return kPortRefusal;
    }
    mManager->SetOutputMute(port, on);
    return "Port " + std::to_string(port) + " " + (on ? "muted" : "un-muted");
}

std::string CliT2PortConfigNode::SetBitmap(std::int16_t port, std::uint8_t route) {
    if (port > kLastPort) {
        return "Port Id error - enter a value between 0 & 7";
    }
    if (route > kSecondaryRoute) {
        return "Route error - enter either 0 (Pri) or 1 (Sec)";
    }
    const auto command = std::make_shared<PortBitmapCmd>();
    command->mHid = mManager->GetHid();
    command->mEntries[static_cast<std::uint16_t>(port)] = {kNoHid, route};
    mManager->SetOutputBitmap(command);
    return "Set T2 source for output port " + std::to_string(port) + " to T2 " +
           (route == kSecondaryRoute ? "Sec" : "Pri") + " link";
}

}  // namespace TalvoBrindlet
