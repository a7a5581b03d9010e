#include "ExtRefNode.h"

#include <iomanip>
#include <sstream>
#include <utility>

#include "ActionN.h"
#include "ExternalClockManager.h"
#include "ExternalClockSource.h"
#include "ExternalReferenceFsi.h"
#include "Parser.h"

namespace cmd {

namespace {

using action::MakeAction;
using audio::ExternalClockManager;

constexpr const char* kName = "clock";

const char* StateText(ExternalClockManager::State state) {
    switch (state) {
        case ExternalClockManager::State::Locking:
            return " locking";
        case ExternalClockManager::State::Locked:
            return " locked";
        default:
            return "";
    }
}

}  // namespace

ExtRefNode::ExtRefNode(std::shared_ptr<ExternalClockManager> manager, const fsi::DeviceRegistry* devices)
    : Node(""), mManager(std::move(manager)), mSources(devices) {
    for (const auto& [name, source] : mSources) {
        mSourceNames += name + " ";
    }
    AddReports();
    AddSelection();
    AddHardware();
}

void ExtRefNode::AddReports() {
    AddAction(kName, {MakeAction(
                          "sources", [this] { return mSourceNames; }, "List all potential clock sources."),
                      MakeAction(
                          "active", [this] { return ActiveName(); }, "Show the active sync source"),
                      MakeAction(
                          "status", [this] { return Status(); }, "Display current PLL clock status.")});
}

void ExtRefNode::AddSelection() {
    AddAction(
        kName,
        {MakeAction(
             "enable", [this](const std::string& source) { mManager->EnableSource(ClockId(source)); },
             "Consider SRC in clock selection. Use 'clock/sources' to list valid SRC values."),
         MakeAction(
             "disable", [this](const std::string& source) { mManager->DisableSource(ClockId(source)); },
             "Don't consider SRC in clock selection. Use 'clock/sources' to list valid SRC values."),
         MakeAction(
             "use_internal",
             [this](bool on) {
                 if (on) {
                     mManager->UseInternal();
                 } else {
                     mManager->AutoSelect();
                 }
             },
             "Use the internal clock, irrespective of other clock availability."),
         MakeAction(
             "set_pll_source",
             [this](const std::string& source) {
                 const unsigned id = ClockId(source);
                 mManager->UseInternal();
                 mManager->Fsi().SetExternalPllSource(id);
             },
             "Select the external PLL source. This disables the auto-select algorithm; use auto_pll_select "
             "to re-enable."),
         MakeAction(
             "auto_pll_select", [this] { mManager->AutoSelect(); },
             "Enable the PLL selection algorithm; this is the default mode.")});
}

void ExtRefNode::AddHardware() {
    AddAction(
        kName,
        {MakeAction(
             "enable_phase_freeze", [this](bool on) { mManager->Fsi().SetPhaseFreeze(on); },
             "Whether the phase adjustment loop used during internal frame sync should be disabled. False by "
             "default."),
         MakeAction(
             "set_measurement_range",
             [this](unsigned first, unsigned second) { mManager->Fsi().SetMeasurementRange(first, second); },
             "Set the number of 'ticks' allowed before selected PLL source timeout. Hardware sets the "
             "default "
             "range 0-4096. Units are the number of 27MHz clocks counted over a 65 frame period.")});
}

unsigned ExtRefNode::ClockId(const std::string& name) const {
    const auto source = mSources.Find(name);
    if (source == nullptr) {
        throw parser::BadCommandArg("Error: Unknown clock '" + name + "'");
    }
    return source->ClockId();
}

std::string ExtRefNode::ActiveName() const {
    const unsigned selected = mManager->SelectedId();
    if (selected == ExternalClockManager::kInternal) {
        return "Internal";
    }
    for (const auto& [name, source] : mSources) {
        if (source->ClockId() == selected) {
            return name;
        }
    }
    return "Unknown";
}

std::string ExtRefNode::Status() const {
    std::ostringstream report;
    report << "Clock Ids: ";
    for (const auto& [name, source] : mSources) {
        report << name << " (" << source->ClockId() << ") ";
    }
    report << "Internal (0)\n\n";
    report << std::setw(3) << "Id" << std::setw(8) << "Enabled" << std::setw(8) << "Measure" << std::setw(9)
           << "State" << '\n';
    for (const auto& clock : mManager->PriorityList()) {
        report << std::setw(3) << clock->mId << std::setw(8) << std::boolalpha << clock->mEnabled
               << std::setw(8) << clock->mMeasurement << std::setw(9)
               << (clock->mAccepted ? "stable" : "unstable") << StateText(clock->mState);
        if (clock->mId == mManager->SelectedId()) {
            report << " [selected" << (mManager->IsAutoSelectOff() ? ", auto-select off" : "") << ']';
        }
        report << '\n';
    }
    return report.str();
}

}  // namespace cmd
