#include "CliNodePower.h"

#include <boost/format.hpp>
#include <string>
#include <utility>

#include "ActionN.h"
#include "BrindletManager.h"

namespace TalvoBrindlet {

namespace {

using cmd::action::MakeAction;

constexpr const char* kName = "power";

std::string OnOrOff(const std::string& subject, bool on) {
    return subject + (on ? "on" : "off");
}

std::string EnabledOrDisabled(const std::string& subject, bool on) {
    return subject + (on ? "enabled" : "disabled");
}

}  // namespace

CliNodePower::CliNodePower(std::shared_ptr<BrindletManager> manager)
    : Node(""), mManager(std::move(manager)) {
    AddReports();
    AddMonitoring();
    AddFaults();
}

void CliNodePower::AddReports() {
    AddAction(
        kName,
        {MakeAction(
             "line_flt", [this] { return mManager->GetDcLineFaultLine(); },
             "Display AC line status.Shows the status of the line rail in the Brindlet.\r\n"
             "If the fault is set then the box is not receiving any AC supply,\r\n"
             "or there is a problem with the PSU\r\n"),
         MakeAction(
             "dc_volts",
             [this] {
                 return (boost::format("DC Supply voltage %1$-3.1f Volts") % (mManager->GetDcVolts() / 10.0))
                     .str();
             },
             "Display DC supply volts.This shows the DC supply voltage in the box. \r\n"
             "There are thresholds beyond which the voltage cannot be measured properly.\r\n"
             "If the supply is less than 5.5 V the reading will be treated as 0V,\r\n"
             "and anything above 37 V will be treated as 37 V.\r\n"),
         MakeAction(
             "dc_ok_flt", [this] { return mManager->GetDcOkFaultLine(); },
             "Display DC supply status.Shows if there is a DC supply above the lowest threshold that can be "
             "measured.\r\n"
             "Too low a voltage is treated as 0V because it cannot be properly read, and would\r\n"
             "insufficient to run the Brindlet on DC only.\r\n\r\n"
             "If the voltage is outside of the operational range it will raise a fault.\r\n"),
         MakeAction(
             "dc_prot_flt",
             [this] {
                 return std::string("DC supply protection fault status: ") +
                        (mManager->IsHealthy(IoBoxStatus::kDcProtection)
                             ? "inactive (DC Supply OK)"
                             : "active ( over-volts/over-current, shutdown likely )");
             },
             "Display DC Protection status."),
         MakeAction(
             "dc_op_flt", [this] { return mManager->GetDcRangeLine(); },
             "Display DC supply operating range status.")});
}

void CliNodePower::AddMonitoring() {
    AddAction(kName,
              {MakeAction(
                   "set_dc_supply_flt",
                   [this](bool fault) {
                       mManager->SetFault(IoBoxStatus::kAcOk, fault);
                       return OnOrOff("DC supply fault is ", fault);
                   },
                   "Set DC supply state.This sets the state of the DC supply fault.\r\n"
                   " The valid options are:\r\n  off = 0\r\n  on  = 1\r\n"),
               MakeAction(
                   "set_dc_dbg",
                   [this](bool on) {
                       mManager->SetDcDebug(on);
                       return EnabledOrDisabled("DC supply monitoring debug ", on);
                   },
                   "Enable DC supply monitoring debug.The power monitoring continually updates the DC supply "
                   "status "
                   "data and \r\n"
                   "debug for this is disabled by default to prevent the log being filled up\r\n"
                   "with repeated entries of DC supply status updates.\r\n"
                   "This option allows the debugging to be enabled when required to investigate \r\n"
                   "issues with the DC supply.\r\n"
                   "Valid options are:-\r\n  off = 0 (default)\r\n  on =  1\r\n"),
               MakeAction(
                   "set_dc_mon",
                   [this](bool on) {
                       mManager->SetDcMonitoring(on);
                       return EnabledOrDisabled("DC supply monitoring ", on);
                   },
                   "Enable DC supply monitoring.This allows the DC supply monitoring to be disabled.\r\n"
                   "This is needed to set power faults with the CLI. Otherwise \r\n"
                   "they would get reset on each DC supply update.\r\n"
                   "The valid options are:\r\n  off = 0\r\n  on  = 1 (default)\r\n")});
}

void CliNodePower::AddFaults() {
    AddAction(
        kName,
        {MakeAction(
             "set_dc_ok_flt",
             [this](bool fault) {
                 mManager->SetFault(IoBoxStatus::kDcOk, fault);
                 return OnOrOff("DC supply fault is ", fault);
             },
             "Set DC supply fault.This sets the fault indicating that no DC supply can be detected.\r\n"
             "The valid options are:\r\n  off = 0\r\n  on  = 1\r\n"),
         MakeAction(
             "set_dc_prot_flt",
             [this](bool fault) {
                 mManager->SetFault(IoBoxStatus::kDcProtection, fault);
                 return fault ? "Set DC supply protection fault to active"
                              : "Set DC supply protection fault status to inactive";
             },
             "Set DC protection fault.Sets the state of the fault indicating DC over-volts/over-current\r\n"
             "condition has occurred and the Brindlet is about to shutdown.\r\n"
             "The valid options are:\r\n  off = 0 (default)\r\n  on  = 1\r\n"),
         MakeAction(
             "set_dc_op_flt",
             [this](bool fault) {
                 mManager->SetFault(IoBoxStatus::kDcRange, fault);
                 return fault ? "Set the DC supply operating range fault"
                              : "Clear DC supply operating range fault";
             },
             "Set DC supply operating range fault.Sets the fault that warns when the DC supply is outside "
             "\r\n"
             "the operating voltage range for the Brindlet.\r\n"
             "The valid options are:\r\n   off = 0\r\n  on  = 1\r\n")});
}

}  // namespace TalvoBrindlet
