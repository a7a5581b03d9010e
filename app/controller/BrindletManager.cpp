#include "BrindletManager.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <iostream>
#include <thread>
#include <utility>

#include "AdcControlFsi_KX4093.h"
#include "AudioDmaFsi.h"
#include "AudioDmaManager.h"
#include "Audit.h"
#include "ClocksFsi_KX4093.h"
#include "DacControlFsi_KX4093.h"
#include "ExternalClockManager.h"
#include "ExternalReferenceFsi.h"
#include "FirmwareBuild.h"
#include "FirmwareRecord.h"
#include "GpioFsi.h"
#include "Hid.h"
#include "IoCard_KX4093.h"
#include "MemoryMonitor.h"
#include "PowerMonitorFsi.h"
#include "RootedPath.h"
#include "RouteSetUp.h"
#include "T2FsiLink.h"
#include "TalvoPortManager.h"
#include "TalvoRouterComms.h"
#include "UioInterruptController.h"

namespace TalvoBrindlet {

namespace {

constexpr const char* kExtendedHidPath = "/var/lib/sorvel/etc/Extends/ExtendedHID";
constexpr unsigned kExtendedHidShift = 8;
constexpr const char* kFirmwareRecord = "/home/root/Firmware/Application.xml";

constexpr std::int32_t kProtocolTalvo2 = 1;
constexpr std::int32_t kProtocolDante = 2;

/// The links' audio DMA addresses where no link driver gives others.
constexpr unsigned kDefaultPrimaryId = 3;
constexpr unsigned kDefaultSecondaryId = 2;
constexpr const char* kPrimaryName = "t1";
constexpr const char* kSecondaryName = "t2";
constexpr unsigned kPrimaryClockId = 1;
constexpr unsigned kSecondaryClockId = 2;

const char* LogName(OperatingMode mode) {
    constexpr std::array<const char*, 3> kNames{
        {"AoIP operating mode", "Talvo 2 operating mode", "Unknown operating mode"}};
    const auto index = static_cast<std::size_t>(mode);
    return index < kNames.size() ? kNames[index] : kNames[2];
}

}  // namespace

BrindletManager::BrindletManager(boost::asio::io_context& eventLoop, fsi::IFsiBus& bus, std::string root)
    : mIo(eventLoop),
      mBus(bus),
      mRoot(std::move(root)),
      mAdc(mDevices.Add<AdcControlFsi_KX4093>("adc", bus)),
      mDac(mDevices.Add<DacControlFsi_KX4093>("dac", bus)),
      mAdcClocks(mDevices.Add<AdcClocksFsi_KX4093>("adcins", bus)),
      mDacClocks(mDevices.Add<DacClocksFsi_KX4093>("dacins", bus)),
      mAdma(mDevices.Add<audio::AudioDmaFsi>("adma", bus)),
      mGpio(mDevices.Add<GpioFsi>("gpio", bus)),
      mPowerMonitor(mDevices.Add<PowerMonitorFsi>("powermon", bus)),
      mExtRef(mDevices.Add<audio::ExternalReferenceFsi>("extref", bus)),
      mInterruptSources{mPowerMonitor, mExtRef, mDac, mAdma},
      mActiveLink(kNoLink),
      mHid(kHidNotRead) {
    mClockManager = std::make_shared<audio::ExternalClockManager>(mIo, mExtRef);
    UpdateFirmwareRecord(RootedPath(mRoot, kFirmwareRecord), bus, kFirmwareIdentity);
    AUDIT(Feature::TalvoIoBox, "Brindlet: created application controller\n");
}

BrindletManager::~BrindletManager() = default;

void BrindletManager::Initialise() {
    AUDIT(Feature::Information, "Brindlet: initialising the control application\n");
    mInitialised = 1;
    InitialiseFsis();
    ReadInitialPowerState();
    UpdateDcLed();
    StartTimers();
}

void BrindletManager::InitialiseFsis() {
    AUDIT(Feature::TalvoIoBox, "Brindlet: initialising FSIs and configuring for interrupt handling\n");
    mModeChangeConnection = mGpio->ModeChanged().connect(&BrindletManager::OnModeChange);
    mAcFaultConnection =
        mPowerMonitor->DcLineFaultChanged().connect([this](bool fault) { OnAcFault(fault); });
    mDcProtectionConnection =
        mPowerMonitor->DcProtectionFaultChanged().connect([this](bool fault) { OnDcProtectionFault(fault); });
}

void BrindletManager::SetRouterComms(std::shared_ptr<TalvoRouterComms> comms) {
    mComms = std::move(comms);
    if (GetOperatingMode() == OperatingMode::Talvo2) {
        ConfigureForTalvo2();
        StartTalvo2Monitoring();
    } else {
        ConfigureForDante();
    }
}

void BrindletManager::ConfigureForTalvo2() {
    AUDIT(Feature::TalvoIoBox, "Brindlet: configuring audio for Talvo 2 operation\n");
    std::cout << "Brindlet: configuring audio for Talvo 2 operation" << std::endl;
    mProtocol = kProtocolTalvo2;
    CreateInterruptController();
    CreateLinkEndpoints();
    mDmaManager = std::make_shared<audio::AudioDmaManager>(&mDevices, mAdma);
    AUDIT(Feature::TalvoIoBoxVerbose,
          "Brindlet: created two talvo links for ADMA routing - ID0 = %d, ID1 = %d\n",
          static_cast<int>(mPrimaryLinkEndpoint->Id()), static_cast<int>(mSecondaryLinkEndpoint->Id()));
    mDmaManager->SetEndpoints({mPrimaryLinkEndpoint, mSecondaryLinkEndpoint, mAdcClocks, mDacClocks});
    CreateIoCard();
    WriteRouteTables({mPrimaryLinkEndpoint, mSecondaryLinkEndpoint}, *mAdcClocks, *mDacClocks);
    SetSampleRate(GetFrequencyScaler(), GetSampleRate(), 0);
    mPortManager = std::make_shared<TalvoPortManager>(this, mDmaManager, mClockManager, mPrimaryLinkEndpoint,
                                                      mSecondaryLinkEndpoint, mIoCard);
}

void BrindletManager::ConfigureForDante() {
    AUDIT(Feature::TalvoIoBox, "Brindlet: configuring audio for Dante Brooklyn II operation\n");
    mProtocol = kProtocolDante;
    CreateInterruptController();
    mDmaManager = std::make_shared<audio::AudioDmaManager>(&mDevices, mAdma);
    SetSampleRate(audio::FrequencyScaler::X2, SampleRates::SR48k, 0);
}

void BrindletManager::CreateInterruptController() {
    AUDIT(Feature::TalvoIoBoxVerbose, "Brindlet: creating interrupt controller\n");
    mInterrupts = std::make_shared<fsi::UioInterruptController>(mIo, mInterruptSources);
}

/// Each link's driver has two seconds to tell the link's address, counted from one moment: it was asked for
/// both at once, and a stop isn't to wait for longer.
void BrindletManager::CreateLinkEndpoints() {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds kPatience{2000};
    const auto begin = Clock::now();
    mPrimaryLinkEndpoint = mDevices.Add<audio::T2FsiLink>(
        kPrimaryName, LinkAddress(0, kPatience, kDefaultPrimaryId), kPrimaryClockId);
    const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    mSecondaryLinkEndpoint = mDevices.Add<audio::T2FsiLink>(
        kSecondaryName, LinkAddress(1, kPatience - waited, kDefaultSecondaryId), kSecondaryClockId);
}

unsigned BrindletManager::LinkAddress(unsigned link, std::chrono::milliseconds patience, unsigned fallback) {
    const std::uint32_t id = mComms->LinkManager().GetAdmaEndpointId(link, patience);
    return id != 0 ? id : fallback;
}

/// The links' clocks come into play with the active router.
void BrindletManager::CreateIoCard() {
    mIoCard = std::make_shared<IoCard_KX4093>(0, 0, 0, mAdc, mDac, mAdcClocks, mDacClocks, mIo);
    mClockManager->SetPriority(mPrimaryLinkEndpoint->ClockId(), 0, false);
    mClockManager->SetPriority(mSecondaryLinkEndpoint->ClockId(), 1, false);
}

void BrindletManager::SetSampleRate(audio::FrequencyScaler scaler, SampleRates::SystemSampleRates rate,
                                    std::uint32_t waitMs) {
    const SampleRates::SystemSampleRates previous = mSampleRate;
    if (scaler != mScaler) {
        AUDIT(Feature::TalvoIoBox, "Brindlet: changing frequency scaler %s -> %s.\n", audio::Text(mScaler),
              audio::Text(scaler));
        mScaler = scaler;
    }
    if (rate != previous && GetOperatingMode() == OperatingMode::Talvo2) {
        AUDIT(Feature::TalvoIoBox, "Brindlet: setting sample rate from %s@%s to %s@%s \n",
              SampleRates::Text(previous), audio::Text(mScaler), SampleRates::Text(rate),
              audio::Text(scaler));
        mComms->SetSampleRateChanging(true);
        Wait(waitMs);
        mPortManager->HandleSampleRate(rate);
        mComms->SetSampleRateChanging(false);
    }
    mSampleRate = rate;
}

void BrindletManager::ConfigureLoopback(bool on, audio::FrequencyScaler scaler,
                                        SampleRates::SystemSampleRates rate) {
    mScaler = scaler;
    mSampleRate = rate;
    if (mPortManager != nullptr) {
        mPortManager->ConfigureLoopback(on);
    }
}

void BrindletManager::SetMemoryMonitoring(bool enable) {
    if (enable) {
        AUDIT(Feature::TalvoIoBoxVerbose, "Brindlet: enabling memory monitoring\n");
        mMemory = std::make_shared<MemoryMonitor>(mIo);
        mMemory->Start();
    } else if (mMemory != nullptr) {
        AUDIT(Feature::TalvoIoBoxVerbose, "Brindlet: disabling memory monitoring\n");
        mMemory->Stop();
        mMemory.reset();
    }
}

std::uint32_t BrindletManager::GetFirmwareBuild() const {
    return TalvoBrindlet::GetFirmwareBuild(mBus, kFirmwareIdentity);
}

/// Nothing else happens meanwhile, a stop included, so waits that come right after one another share a limit.
void BrindletManager::Wait(std::uint32_t waitMs) {
    using Clock = std::chrono::steady_clock;
    using std::chrono::milliseconds;
    constexpr milliseconds kMost{60000};
    constexpr milliseconds kApart{1000};
    if (Clock::now() - mWaitEnd > kApart) {
        mWaited = milliseconds(0);
    }
    const milliseconds wait = std::min(milliseconds(waitMs), kMost - mWaited);
    if (wait < milliseconds(waitMs)) {
        AUDIT(Feature::Fault, "Brindlet: FAULT - a wait of %lu ms is cut to %lu ms\n",
              static_cast<unsigned long>(waitMs), static_cast<unsigned long>(wait.count()));
    }
    std::this_thread::sleep_for(wait);
    mWaited += wait;
    mWaitEnd = Clock::now();
}

std::string BrindletManager::GetActiveClockName() const {
    const unsigned selected = mClockManager->SelectedId();
    if (selected == audio::ExternalClockManager::kInternal) {
        return "internal";
    }
    if (mPrimaryLinkEndpoint != nullptr && selected == mPrimaryLinkEndpoint->ClockId()) {
        return kPrimaryName;
    }
    if (mSecondaryLinkEndpoint != nullptr && selected == mSecondaryLinkEndpoint->ClockId()) {
        return kSecondaryName;
    }
    return "unknown";
}

void BrindletManager::ResetAdc() {
    mAdc->EnableReset();
    mAdc->DisableReset();
}

std::string BrindletManager::GetModeLine() const {
    return std::string("Mode:                   ") +
           (GetOperatingMode() == OperatingMode::AoIP ? "AoIP" : "Talvo 2");
}

std::string BrindletManager::GetProtocolLine() const {
    const std::string label = "Protocol:               ";
    switch (GetProtocol()) {
        case kProtocolTalvo2:
            return label + "Talvo 2";
        case kProtocolDante:
            return label + "Dante";
        default:
            return label + "Unknown";
    }
}

std::uint32_t BrindletManager::GetHid() {
    // The flag is for a HID of all ones, which heartbeats on their own thread would have read again and
    // again.
    if (mHid != kHidNotRead || mIsHidRead) {
        return mHid;
    }
    const std::uint32_t switches = ReadDipSwitches();
    const std::uint32_t extended = ReadExtendedHid(RootedPath(mRoot, kExtendedHidPath));
    mHid = switches + (extended << kExtendedHidShift);
    mIsHidRead = true;
    AUDIT(Feature::Information, "Brindlet Hid is now set to %s\n", HidText(mHid).c_str());
    return mHid;
}

std::uint32_t BrindletManager::ReadDipSwitches() const {
    if (mGpio == nullptr) {
        AUDIT(Feature::Fault, "Hardware DIP switches could not be read \n");
        return 0;
    }
    const std::uint32_t switches = mGpio->ReadDipSwitches();
    AUDIT(Feature::Information, "Hardware DIP switches set to HID %lu\n",
          static_cast<unsigned long>(switches));
    return switches;
}

void BrindletManager::OnModeChange(const OperatingMode& mode) {
    AUDIT(Feature::TalvoIoBox, "Brindlet: INFO - mode change interrupt occurred, operating mode is now %s\n",
          LogName(mode));
}

}  // namespace TalvoBrindlet
