// The controller and the box's power: supply, mains, status word and the two LEDs.

#include <string>

#include "Audit.h"
#include "BrindletManager.h"
#include "GpioFsi.h"
#include "LoopTimer.h"
#include "PowerMonitorFsi.h"
#include "TalvoRouterComms.h"

namespace TalvoBrindlet {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kDcPeriod{3000};
constexpr milliseconds kOkLedPeriod{1000};
constexpr milliseconds kOkLedFastPeriod{100};  ///< while there is no router

constexpr std::uint32_t kSteadyLed = 0;
constexpr std::uint32_t kFaultLed = 5;

/// Why a timer's chain ends.
std::string Details(const boost::system::error_code& error, const char* withoutTimer) {
    return error ? std::string(error.category().name()) + ":" + std::to_string(error.value()) : withoutTimer;
}

}  // namespace

void BrindletManager::ReadInitialPowerState() {
    GetHid();
    mMode = OperatingMode::Talvo2;
    AUDIT(Feature::Information, "Brindlet: operating mode is %s\n",
          GetOperatingMode() == OperatingMode::Talvo2 ? "Talvo 2 mode" : "AoIP mode");
    AUDIT(Feature::PowerMonitoringDebug, "Brindlet: initial DC Line status is %s\n",
          mPowerMonitor->IsDcLineFaultActive() ? "unavailable" : "available");
    const bool isProtectionActive = mPowerMonitor->IsDcProtectionFaultActive();
    AUDIT(Feature::PowerMonitoringDebug, "Brindlet: initial Ext DC supply protection fault is %s\n",
          isProtectionActive ? "Active " : "Inactive");
    if (isProtectionActive) {
        SetFault(IoBoxStatus::kDcProtection, true);
    }
    UpdateDcStatus();
    AUDIT(Feature::TalvoIoBox, "Brindlet: initial Ext DC supply level is 0x%-8.8lx ( tenths of Volt)\n",
          static_cast<unsigned long>(mDcVolts));
}

void BrindletManager::StartTimers() {
    mDcTimer = std::make_shared<boost::asio::steady_timer>(mIo);
    ArmDcTimer();
    mOkLedTimer = std::make_shared<boost::asio::steady_timer>(mIo);
    ArmOkLedTimer(kOkLedFastPeriod);
}

void BrindletManager::ArmDcTimer() {
    ArmTimer(mDcTimer, kDcPeriod, [this](const boost::system::error_code& error) { OnDcTimer(error); });
}

void BrindletManager::ArmOkLedTimer(milliseconds period) {
    ArmTimer(mOkLedTimer, period, [this](const boost::system::error_code& error) { OnOkLedTimer(error); });
}

void BrindletManager::SetFault(std::uint32_t statusBits, bool active) {
    if (active) {
        mIoBoxStatus.fetch_and(~statusBits, std::memory_order_relaxed);
    } else {
        mIoBoxStatus.fetch_or(statusBits, std::memory_order_relaxed);
    }
}

void BrindletManager::UpdateDcStatus() {
    AUDIT(Feature::PowerMonitoringDebug,
          "Brindlet: updating DC Supply status, present voltage now 0x%-8.8lx( %lu ), IO Box Internals "
          "0x%-8.8lx\n",
          static_cast<unsigned long>(mDcVolts), static_cast<unsigned long>(mDcVolts),
          static_cast<unsigned long>(mIoBoxStatus));
    mDcVolts = mPowerMonitor->ReadDcTenths();
    if (mPowerMonitor->IsDcProtectionFaultActive()) {
        return;
    }
    const DcSupply before{mDcState, IsHealthy(IoBoxStatus::kDcOk), IsHealthy(IoBoxStatus::kDcRange)};
    const DcSupplyReading reading = JudgeDcSupply(before, mDcVolts);
    if (reading.mChange != nullptr) {
        AUDIT(Feature::PowerMonitoringDebug, "%s", reading.mChange);
    }
    mDcState = reading.mSupply.mState;
    SetFault(IoBoxStatus::kDcOk, !reading.mSupply.mIsPresent);
    SetFault(IoBoxStatus::kDcRange, !reading.mSupply.mIsInRange);
    if (reading.mIsSettled) {
        return;
    }
    UpdateDcLed();
    AUDIT(Feature::PowerMonitoringDebug,
          "Brindlet: updated DC Supply status, voltage now 0x%-8.8lx( %lu ), IO Box Internals 0x%-8.8lx\n",
          static_cast<unsigned long>(mDcVolts), static_cast<unsigned long>(mDcVolts),
          static_cast<unsigned long>(mIoBoxStatus));
}

void BrindletManager::UpdateDcLed() {
    switch (mDcState) {
        case DcSupplyState::UnderVolts:
        case DcSupplyState::OverVolts:
            mPowerMonitor->SwitchDcLedOn(kFaultLed);
            break;
        case DcSupplyState::InRange:
            mPowerMonitor->SwitchDcLedOn(kSteadyLed);
            break;
        default:
            mPowerMonitor->SwitchDcLedOff();
            break;
    }
    AUDIT(Feature::PowerMonitoringDebug, "Brindlet: setting DC power LED for state %s\n", Text(mDcState));
}

void BrindletManager::OnDcTimer(const boost::system::error_code& error) {
    if (error || mDcTimer == nullptr) {
        AUDIT(Feature::Fault, "Brindlet: ERROR  - problem with monitoring of DC supply. Details: %s \n",
              Details(error, "no valid Timer").c_str());
        return;
    }
    UpdateDcStatus();
    if (mDcMonitoring) {
        ArmDcTimer();
    }
}

void BrindletManager::SetDcMonitoring(bool enable) {
    if (enable == mDcMonitoring) {
        return;
    }
    mDcMonitoring = enable;
    if (!enable) {
        AUDIT(Feature::PowerMonitoringDebug,
              "Brindlet: disabling DC supply monitoring - Brindlet has stopped reading DC supply value and "
              "Ext DC supply will not be updated\n");
        return;
    }
    AUDIT(Feature::PowerMonitoringDebug,
          "Brindlet: enabling DC supply monitoring - Brindlet will read DC supply value and update the Ext "
          "DC supply status\n");
    UpdateDcStatus();
    ArmDcTimer();
}

void BrindletManager::OnOkLedTimer(const boost::system::error_code& error) {
    if (error || mOkLedTimer == nullptr) {
        AUDIT(Feature::Fault,
              "Brindlet: ERROR  - problem encountered during setting OK LED state. Details: %s \n",
              Details(error, "no valid OK Status Timer").c_str());
        return;
    }
    mOkLedOn = !mOkLedOn;
    if (mOkLedOn) {
        mGpio->SwitchOkLedOn();
    } else {
        mGpio->SwitchOkLedOff();
    }
    ArmOkLedTimer(GetActiveLink() == kNoLink ? kOkLedFastPeriod : kOkLedPeriod);
}

void BrindletManager::OnAcFault(bool fault) {
    AUDIT(Feature::Information, "Brindlet: AC fault status change. AC power is %s\n",
          fault ? "unavailable" : "available");
    SetFault(IoBoxStatus::kAcOk, fault);
}

void BrindletManager::OnDcProtectionFault(bool fault) {
    AUDIT(Feature::Information, "Brindlet: DC Protection fault status change. Now %d\n", fault ? 1 : 0);
    if (!fault) {
        SetFault(IoBoxStatus::kDcProtection, false);
        UpdateDcStatus();
        AUDIT(Feature::PowerMonitoringDebug, "Brindlet: clearing DC protection fault\n");
    } else if (GetOperatingMode() == OperatingMode::Talvo2 && mComms != nullptr) {
        SetFault(IoBoxStatus::kDcProtection, true);
        mComms->LinkManager().SendHeartbeats();
        AUDIT(Feature::PowerMonitoringDebug, "Brindlet: setting DC protection fault\n");
    }
}

}  // namespace TalvoBrindlet
