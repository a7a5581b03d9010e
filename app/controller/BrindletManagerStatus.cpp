// What the controller says of the box, in words.

#include <boost/format.hpp>
#include <string>

#include "ApplicationVersion.h"
#include "BrindletManager.h"
#include "PowerMonitorFsi.h"
#include "TalvoPortManager.h"

namespace TalvoBrindlet {

namespace {

constexpr const char* kDevice = "Sorvel Brindlet KX4093";
constexpr std::size_t kReportColumn = 24;

const char* FaultText(bool healthy) {
    return healthy ? "inactive" : "active";
}

/// A row for each bit of the status word that has a name.
std::string StatusWordReport(std::uint32_t word) {
    std::string report;
    for (std::size_t bit = 0; bit < IoBoxStatus::kLabels.size(); ++bit) {
        const bool isSet = (word >> bit & 1U) != 0;
        const bool isValidity = 1U << bit == IoBoxStatus::kValid;
        report += std::string(kReportColumn, ' ') + IoBoxStatus::kLabels[bit] +
                  (isValidity ? (isSet ? "true" : "false") : (isSet ? "OK" : "fault")) + '\n';
    }
    return report;
}

}  // namespace

std::string BrindletManager::GetDcLineFaultLine() const {
    return std::string("DC Line fault:            ") + FaultText(IsHealthy(IoBoxStatus::kAcOk));
}

std::string BrindletManager::GetDcOkFaultLine() const {
    return std::string("Ext DC Supply OK fault:   ") + FaultText(IsHealthy(IoBoxStatus::kDcOk));
}

std::string BrindletManager::GetDcProtectionLine() const {
    return std::string("DC Protection fault:    ") + FaultText(!mPowerMonitor->IsDcProtectionFaultActive()) +
           "\nExt DC Supply Protection: " + FaultText(IsHealthy(IoBoxStatus::kDcProtection));
}

std::string BrindletManager::GetDcRangeLine() const {
    return std::string("Ext DC Supply Op range:   ") +
           (IsHealthy(IoBoxStatus::kDcRange) ? "inactive (in range)" : "active (out of range)");
}

std::string BrindletManager::DeviceReport() const {
    if (mInitialised != 1) {
        return "Device:                 Unknown\n";
    }
    return (boost::format("Device:                 %1%\n"
                          "SW Version:             %2%\n"
                          "FW Build:               %3$d\n"
                          "HID:                    %4$d ( 0x%4$x )\n") %
            kDevice % kApplicationVersion % GetFirmwareBuild() % mHid.load())
        .str();
}

std::string BrindletManager::GetStatusReport() const {
    const bool isTalvo2 = GetOperatingMode() == OperatingMode::Talvo2;
    std::string report = "\n" + DeviceReport() + GetModeLine() + '\n' + GetProtocolLine() + '\n';
    report += std::string("Sample rate:            ") + SampleRates::Text(GetSampleRate()) + '\n';
    if (isTalvo2) {
        report += "Available Links:        " + GetAvailableLinks() + '\n';
        report += "Active Link:            " + GetActiveLinkName() + '\n';
    }
    report += "Active clock src:       " + GetActiveClockName() + '\n';
    report += (boost::format("DC Supply Volts:        %1$-3.1f Volts\n") % (mDcVolts / 10.0)).str();
    const std::uint32_t word = GetIoBoxStatus();
    report += (boost::format("IO Box status:          0x%1$x\n") % word).str();
    report += StatusWordReport(word) + '\n';
    return isTalvo2 ? report + GetPortReport() : report;
}

std::string BrindletManager::GetPortReport() const {
    return mPortManager != nullptr ? mPortManager->GetPortReport() : "";
}

}  // namespace TalvoBrindlet
