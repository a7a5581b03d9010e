#include "RootCommands.h"

#include <boost/format.hpp>

#include "ActionN.h"
#include "ApplicationVersion.h"
#include "Audit.h"
#include "BrindletManager.h"
#include "Node.h"

namespace {

std::string ToggleFeature(int level) {
    if (level < 0 || static_cast<unsigned>(level) >= Audit::kMaxDebugLevels) {
        return "Invalid value. Enter a valid debug level";
    }
    const auto id = static_cast<unsigned>(level);
    Audit& audit = Audit::Instance();
    audit.SetLevel(id, audit.IsEnabled(id) ? 0 : 1);
    return std::string("Audit level ") + Audit::FeatureName(id) +
           (audit.IsEnabled(id) ? " enabled\n" : " disabled\n");
}

void LogFeatures() {
    AUDIT(Feature::Information, "Audit levels: \n");
    for (unsigned id = 0; id < Audit::kMaxDebugLevels; ++id) {
        AUDIT(Feature::Information, "%-3lu  -  %-32s -  %s \r\n", static_cast<unsigned long>(id),
              Audit::FeatureName(id), Audit::Instance().IsEnabled(id) ? "On" : "Off");
    }
}

std::string FakeActiveLink(TalvoBrindlet::BrindletManager& manager, const std::string& link) {
    if (link != "t1" && link != "t2" && link != "none") {
        return "Invalid option: use \"t1\", \"t2\" or \"none\"";
    }
    return manager.FakeActiveLink(link);
}

}  // namespace

void RegisterRootCommands(cmd::Node& root, TalvoBrindlet::BrindletManager& manager,
                          const std::string& programName, std::uint32_t hid) {
    using cmd::action::MakeAction;
    root.AddAction(MakeAction(
        "adcrst", [&manager] { manager.ResetAdc(); }, "Reset ADC"));
    root.AddAction(MakeAction(
        "dacrst", [&manager] { manager.ResetDac(); }, "Reset DAC"));
    root.AddAction(MakeAction(
        "db", [](int level) { return ToggleFeature(level); },
        "Set logging level. Takes an audit level value. Those of interest for the Brindlet are: "
        "\r\n     60  - CommsDebug\r\n     122 - IoDiscovery\r\n     178 - TalvoIoBox\r\n"
        "     179 - TalvoIoBoxVerbose\r\n     180 - PowerMonitoringDebug\r\n"));
    root.AddAction(MakeAction(
        "debug", [] { LogFeatures(); }, "Show the log level statuses"));
    root.AddAction(MakeAction(
        "t2avail", [&manager] { return "Available Talvo links - " + manager.GetAvailableLinks(); },
        "Show available talvo links"));
    root.AddAction(MakeAction(
        "t2act", [&manager] { return "Active Talvo link - " + manager.GetActiveLinkName(); },
        "Show active talvo link."));
    root.AddAction(MakeAction(
        "hid", [hid] { return (boost::format("Hid is set to %1$d ( 0x%1$x )") % hid).str(); },
        "Shows the Brindlet HID."));
    root.AddAction(MakeAction(
        "mem", [&manager](bool enable) { manager.SetMemoryMonitoring(enable); },
        "Enable memory monitoring.This reads the memory stats every 10m.\r\n"
        "The details will only be logged if the debug level is set to normal or higher level\r\n"));
    root.AddAction(MakeAction(
        "mode", [&manager] { return manager.GetModeLine(); }, "Display Brindlet operating mode."));
    root.AddAction(MakeAction(
        "proto", [&manager] { return manager.GetProtocolLine(); }, "Display Brindlet operating mode."));
    root.AddAction(MakeAction(
        "rst_t2", [&manager] { return manager.ResyncLinkState(); },
        "Reset the T2 link data.This will re-synchronise the T2 link state data \r\n"
        "with the actual state of the T2 Router comms framework. \r\n"
        "Use this to reset the applications link state data after\r\n"
        "using set_link to fake T2 link changes."));
    root.AddAction(MakeAction(
        "set_t2", [&manager](const std::string& link) { return FakeActiveLink(manager, link); },
        "Fake a T2 link switch.This debugging function simulates a switch\r\n"
        "to the specified Talvo2 link. This is\r\n"
        "useful for testing redundancy functionality\r\n"
        "when two routers are not available.\r\n\r\n"
        "Valid link options are \"t1\",\"t2\",\"none\"\r\n"));
    root.AddAction(MakeAction(
        "status", [&manager] { return manager.GetStatusReport(); }, "Display Talvo status"));
    root.AddAction(MakeAction(
        "version",
        [programName, &manager] {
            return (boost::format("%s %s, Firmware build %d") % programName % kApplicationVersion %
                    manager.GetFirmwareBuild())
                .str();
        },
        ""));
}
