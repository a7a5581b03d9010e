#include "MemoryMonitor.h"

#include <unistd.h>

#include <fstream>
#include <iostream>
#include <map>
#include <utility>

#include "Audit.h"
#include "LoopTimer.h"

namespace TalvoBrindlet {

namespace {

/// The values of a file of "Key:   value" lines, units included; none where it can't be read.
std::map<std::string, std::string> ReadValues(const std::string& path) {
    std::map<std::string, std::string> values;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        const std::size_t colon = line.find(':');
        const std::size_t value =
            line.find_first_not_of(" \t", colon == std::string::npos ? colon : colon + 1);
        if (value != std::string::npos) {
            values.emplace(line.substr(0, colon), line.substr(value));
        }
    }
    return values;
}

}  // namespace

MemoryMonitor::MemoryMonitor(boost::asio::io_context& eventLoop, std::chrono::milliseconds period,
                             std::string proc)
    : mTimer(std::make_shared<boost::asio::steady_timer>(eventLoop)),
      mPeriod(period),
      mProc(std::move(proc)) {}

MemoryMonitor::~MemoryMonitor() = default;

void MemoryMonitor::Start() {
    AUDIT(Feature::TalvoIoBoxVerbose, "Starting memory monitoring timer\n");
    Arm();
}

void MemoryMonitor::Stop() {
    AUDIT(Feature::TalvoIoBoxVerbose, "Cancelling memory monitoring timer\n");
    mTimer->cancel();
}

void MemoryMonitor::Arm() {
    ArmTimer(mTimer, mPeriod, [this](const boost::system::error_code& error) { OnTimer(error); });
}

void MemoryMonitor::OnTimer(const boost::system::error_code& error) {
    if (!error) {
        Report();
        Arm();
    } else if (error != boost::asio::error::operation_aborted) {
        AUDIT(Feature::Fault, "Brindlet: ERROR - memory monitoring error %s\n ", error.message().c_str());
    }
}

void MemoryMonitor::Report() const {
    const std::string system = SystemLine();
    const std::string process = ProcessLine();
    std::cout << system << ' ' << process << std::endl;
    AUDIT(Feature::TalvoIoBox, "Brindlet: %s; %s\n", system.c_str(), process.c_str());
}

std::string MemoryMonitor::SystemLine() const {
    auto values = ReadValues(mProc + "/meminfo");
    return "SYS MEM-MemTotal=" + values["MemTotal"] + ", MemAvail=" + values["MemAvailable"] +
           ", MemFree=" + values["MemFree"];
}

std::string MemoryMonitor::ProcessLine() const {
    const std::string pid = std::to_string(static_cast<unsigned long>(::getpid()));
    AUDIT(Feature::TalvoIoBox, "Brindlet:  PID %ld \n", static_cast<long>(::getpid()));
    auto values = ReadValues(mProc + "/" + pid + "/status");
    return "FB MEM (PID=" + pid + ")-VmSize=" + values["VmSize"] + ", VmRSS=" + values["VmRSS"] +
           ", Vm HWM=" + values["VmHWM"];
}

}  // namespace TalvoBrindlet
