#pragma once

#include <atomic>
#include <boost/asio/steady_timer.hpp>
#include <boost/signals2/connection.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "BrindletStatusManager.h"
#include "DcSupply.h"
#include "DeviceRegistry.h"
#include "IFsiBus.h"
#include "IoBoxStatus.h"

namespace boost::asio {
class io_context;
}

namespace audio {
class AudioDmaFsi;
class AudioDmaManager;
class ExternalClockManager;
class ExternalReferenceFsi;
class T2FsiLink;
}  // namespace audio

namespace fsi {
class Interruptable;
class UioInterruptController;
}  // namespace fsi

class TalvoRouterComms;
struct IoSetInputParams;
struct IoSetOutputGain;
struct IoSetSampleRateCmd;
struct PortBitmapCmd;

namespace TalvoBrindlet {

class AdcClocksFsi_KX4093;
class AdcControlFsi_KX4093;
class DacClocksFsi_KX4093;
class DacControlFsi_KX4093;
class GpioFsi;
class IoCard_KX4093;
class MemoryMonitor;
class PowerMonitorFsi;
class TalvoPortManager;

/// The device controller: owns the devices of the box and the audio objects on top of them, and knows the
/// box's identity and operating mode. Made and owned by `main`; event loop only, but for the status
/// interface.
class BrindletManager : public BrindletStatusManager {
  public:
    /// Opens every device of the box; throws where one is missing. `root` stands before the files that it
    /// reads; event loop and bus outlive the controller.
    BrindletManager(boost::asio::io_context& eventLoop, fsi::IFsiBus& bus, std::string root);
    ~BrindletManager() override;

    /// Connects the devices' signals, reads identity and power, sets the operating mode and starts to watch
    /// the supply and to flash the OK LED.
    void Initialise();

    /// Takes the routers' side, sets the audio up for the operating mode, with its first change-over, and
    /// listens to the routers. Called once, after Initialise.
    void SetRouterComms(std::shared_ptr<TalvoRouterComms> comms);

    /// Lets go of the routers' side, which asks this object for what its heartbeats carry. At the end.
    void ReleaseRouterComms();

    void ResetAdc();

    /// Does nothing; the shell's `dacrst` succeeds silently.
    void ResetDac() {}

    /// The lines of the shell's `mode` and `proto`.
    std::string GetModeLine() const;
    std::string GetProtocolLine() const;

    /// For rehearsing a change of the active link without routers: takes both links as up and `name` ("t1",
    /// "t2", "none") as the active one, and says what came of it.
    std::string FakeActiveLink(const std::string& name);

    /// Takes the links' true state again.
    std::string ResyncLinkState();

    /// Which links are up, and which is active, in words.
    std::string GetAvailableLinks() const;
    std::string GetActiveLinkName() const;

    /// The one path of a change of the rate: tells the routers' side, waits `waitMs` on this thread, which
    /// the router has asked for to mute its paths, and has the port manager move the audio. Waits that come
    /// within a second of one another are cut to a minute together, with a Fault line.
    void SetSampleRate(audio::FrequencyScaler scaler, SampleRates::SystemSampleRates rate,
                       std::uint32_t waitMs);

    /// Takes `scaler` and `rate` as the present ones and plays the inputs on the outputs, or ends that.
    void ConfigureLoopback(bool on, audio::FrequencyScaler scaler, SampleRates::SystemSampleRates rate);

    /// What a router could order, from the shell: the port manager takes it as if the active router had sent
    /// it. A null command is logged and does nothing.
    void SetInputParams(const std::shared_ptr<const IoSetInputParams>& command);
    void SetOutputGain(const std::shared_ptr<const IoSetOutputGain>& command);
    void SetOutputBitmap(const std::shared_ptr<const PortBitmapCmd>& command);
    void SetOutputMute(std::uint16_t port, bool mute);

    /// cB; 0 for a port that isn't there.
    std::int32_t GetOutputGain(std::uint16_t port) const;

    /// The box has no global mute: setting it does nothing.
    bool GetGlobalMute() const { return false; }
    void SetGlobalMute(bool /*on*/) {}

    /// Starts or ends the log of memory use every ten minutes.
    void SetMemoryMonitoring(bool enable);

    /// Reads and judges the supply once.
    void UpdateDcStatus();

    /// Starts or ends the judging of the supply every three seconds; with a start it is judged at once.
    void SetDcMonitoring(bool enable);

    /// A flag for the shell; nothing follows from it.
    void SetDcDebug(bool on) { mDcDebug = on; }

    /// The last reading, in tenths of a volt.
    std::uint32_t GetDcVolts() const { return mDcVolts; }

    /// Forces bits of the status word. A reading of the supply may overwrite its own.
    void SetFault(std::uint32_t statusBits, bool active);
    bool IsHealthy(std::uint32_t statusBit) const { return (mIoBoxStatus & statusBit) != 0; }

    /// The power state in words.
    std::string GetDcLineFaultLine() const;
    std::string GetDcOkFaultLine() const;
    std::string GetDcProtectionLine() const;
    std::string GetDcRangeLine() const;

    /// The reply of the shell's `status`: device, links, clock, supply, status word and ports.
    std::string GetStatusReport() const;

    /// The port table alone; empty where the box has no ports.
    std::string GetPortReport() const;

    /// The FPGA's build number. Throws where its block can't be opened.
    std::uint32_t GetFirmwareBuild() const;

    /// The name of the clock that the PLL follows.
    std::string GetActiveClockName() const;

    const std::shared_ptr<audio::ExternalClockManager>& ClockManager() const { return mClockManager; }
    const fsi::DeviceRegistry& Devices() const { return mDevices; }

    /// The table's owner; null before SetRouterComms.
    const std::shared_ptr<audio::AudioDmaManager>& DmaManager() const { return mDmaManager; }

    std::uint32_t GetHid() override;
    std::uint32_t GetIoBoxStatus() const override { return mIoBoxStatus; }
    audio::FrequencyScaler GetFrequencyScaler() const override { return mScaler; }
    SampleRates::SystemSampleRates GetSampleRate() const override { return mSampleRate; }
    OperatingMode GetOperatingMode() const override { return mMode; }
    std::int32_t GetProtocol() const override { return mProtocol; }
    bool IsPrimaryLinkUp() const override { return mPrimaryLinkUp; }
    bool IsSecondaryLinkUp() const override { return mSecondaryLinkUp; }
    std::int32_t GetActiveLink() const override { return mActiveLink; }

  private:
    void Wait(std::uint32_t waitMs);
    void InitialiseFsis();
    void ReadInitialPowerState();
    void UpdateDcLed();
    void OnDcTimer(const boost::system::error_code& error);
    void OnOkLedTimer(const boost::system::error_code& error);
    void StartTimers();
    void ArmDcTimer();
    void ArmOkLedTimer(std::chrono::milliseconds period);
    void OnAcFault(bool fault);
    void OnDcProtectionFault(bool fault);
    std::string DeviceReport() const;
    unsigned long FromSecondary() const;
    void ConfigureForTalvo2();
    void ConfigureForDante();
    void CreateInterruptController();
    void CreateLinkEndpoints();
    void CreateIoCard();
    unsigned LinkAddress(unsigned link, std::chrono::milliseconds patience, unsigned fallback);
    void StartTalvo2Monitoring();
    void OnActivePortChange(unsigned char port);
    void OnLinkStatusChange(unsigned char port, unsigned long localIp, unsigned char remoteType,
                            unsigned long remoteIp, unsigned long remoteHid);
    void TakeFakeLinkUp(unsigned char port);
    void OnIoInfoReq(unsigned char port);
    void OnSetSampleRate(const IoSetSampleRateCmd& command);
    void OnStreamChange(bool connected);
    void SendCapabilities();
    std::uint32_t ReadDipSwitches() const;
    static void OnModeChange(const OperatingMode& mode);

    boost::asio::io_context& mIo;
    fsi::IFsiBus& mBus;
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
    boost::signals2::scoped_connection mAcFaultConnection;
    boost::signals2::scoped_connection mDcProtectionConnection;
    boost::signals2::scoped_connection mModeChangeConnection;
    std::shared_ptr<audio::ExternalClockManager> mClockManager;
    std::shared_ptr<audio::AudioDmaManager> mDmaManager;
    std::shared_ptr<IoCard_KX4093> mIoCard;
    std::shared_ptr<TalvoPortManager> mPortManager;
    std::shared_ptr<fsi::UioInterruptController> mInterrupts;
    std::shared_ptr<TalvoRouterComms> mComms;
    boost::signals2::scoped_connection mActivePortConnection;
    boost::signals2::scoped_connection mLinkStatusConnection;
    boost::signals2::scoped_connection mCapabilitiesConnection;
    boost::signals2::scoped_connection mIoInfoReqConnection;
    boost::signals2::scoped_connection mSetSampleRateConnection;
    std::atomic<std::int32_t> mActiveLink;
    std::atomic<bool> mPrimaryLinkUp{false};
    std::atomic<bool> mSecondaryLinkUp{false};
    std::atomic<std::uint32_t> mIoBoxStatus{IoBoxStatus::kAllHealthy};
    std::atomic<audio::FrequencyScaler> mScaler{audio::FrequencyScaler::X2};
    std::atomic<SampleRates::SystemSampleRates> mSampleRate{SampleRates::SR48k};
    std::atomic<std::uint32_t> mHid;
    std::atomic<bool> mIsHidRead{false};
    std::atomic<OperatingMode> mMode{OperatingMode::Unknown};
    std::atomic<std::int32_t> mProtocol{0};
    std::chrono::steady_clock::time_point mWaitEnd;
    std::chrono::milliseconds mWaited{0};
    std::int32_t mInitialised = 0;
    DcSupplyState mDcState = DcSupplyState::NotConnected;
    std::uint32_t mDcVolts = 0;  ///< tenths of a volt
    bool mDcMonitoring = true;
    bool mDcDebug = false;
    std::shared_ptr<boost::asio::steady_timer> mDcTimer;
    std::shared_ptr<MemoryMonitor> mMemory;
    std::shared_ptr<boost::asio::steady_timer> mOkLedTimer;
    bool mOkLedOn = false;
};

}  // namespace TalvoBrindlet
