#pragma once

#include <atomic>
#include <boost/signals2/connection.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "BrindletStatusManager.h"
#include "DeviceRegistry.h"
#include "IFsiBus.h"

namespace boost::asio {
class io_context;
}

namespace audio {
class AudioDmaFsi;
class AudioDmaManager;
class ExternalReferenceFsi;
class T2FsiLink;
}  // namespace audio

namespace fsi {
class Interruptable;
class UioInterruptController;
}  // namespace fsi

namespace TalvoBrindlet {

class AdcClocksFsi_KX4093;
class AdcControlFsi_KX4093;
class DacClocksFsi_KX4093;
class DacControlFsi_KX4093;
class GpioFsi;
class PowerMonitorFsi;

/// The device controller: owns the devices of the box and the audio objects on top of them, and knows the
/// box's identity and operating mode. Made and owned by `main`; event loop only, but for the status
/// interface.
class BrindletManager : public BrindletStatusManager {
  public:
    /// Opens every device of the box; throws where one is missing. `root` stands before the files that it
    /// reads; event loop and bus outlive the controller.
    BrindletManager(boost::asio::io_context& eventLoop, fsi::IFsiBus& bus, std::string root);
    ~BrindletManager() override;

    /// Connects the devices' signals, reads the identity and sets the operating mode.
    void Initialise();

    /// Sets the audio up for the operating mode, with its first change-over. Called once, after Initialise.
    void ConfigureForMode();

    void ResetAdc();

    /// Does nothing; the shell's `dacrst` succeeds silently.
    void ResetDac() {}

    /// The lines of the shell's `mode` and `proto`.
    std::string GetModeLine() const;
    std::string GetProtocolLine() const;

    /// The table's owner; null before ConfigureForMode.
    const std::shared_ptr<audio::AudioDmaManager>& DmaManager() const { return mDmaManager; }

    std::uint32_t GetHid() override;
    OperatingMode GetOperatingMode() const override { return mMode; }
    std::int32_t GetProtocol() const override { return mProtocol; }

  private:
    void InitialiseFsis();
    void ConfigureForTalvo2();
    void ConfigureForDante();
    void CreateInterruptController();
    void CreateLinkEndpoints();
    std::uint32_t ReadDipSwitches() const;
    static void OnModeChange(const OperatingMode& mode);

    boost::asio::io_context& mIo;
    std::string mRoot;
    fsi::DeviceRegistry mDevices;
    std::shared_ptr<AdcControlFsi_KX4093> mAdc;
    std::shared_ptr<DacControlFsi_KX4093> mDac;
    std::shared_ptr<AdcClocksFsi_KX4093> mAdcClocks;
    std::shared_ptr<DacClocksFsi_KX4093> mDacClocks;
    std::shared_ptr<audio::AudioDmaFsi> mAdma;
    std::shared_ptr<GpioFsi> mGpio;
    std::shared_ptr<PowerMonitorFsi> mPowerMonitor;
    std::shared_ptr<audio::ExternalReferenceFsi> mExtRef;
    std::shared_ptr<audio::T2FsiLink> mPrimaryLinkEndpoint;
    std::shared_ptr<audio::T2FsiLink> mSecondaryLinkEndpoint;
    std::vector<std::shared_ptr<fsi::Interruptable>> mInterruptSources;
    boost::signals2::scoped_connection mModeChangeConnection;
    std::shared_ptr<audio::AudioDmaManager> mDmaManager;
    std::shared_ptr<fsi::UioInterruptController> mInterrupts;
    std::atomic<std::uint32_t> mHid;
    std::atomic<OperatingMode> mMode{OperatingMode::Unknown};
    std::atomic<std::int32_t> mProtocol{0};
};

}  // namespace TalvoBrindlet
