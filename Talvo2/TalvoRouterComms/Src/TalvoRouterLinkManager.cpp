#include "TalvoRouterLinkManager.h"

#include <arpa/inet.h>
#include <poll.h>

#include <algorithm>
#include <boost/asio/io_service.hpp>
#include <boost/asio/post.hpp>
#include <utility>
#include <vector>

#include "Audit.h"
#include "ShellCommand.h"
#include "Utility.h"

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kHeartbeatPeriod{300};
constexpr milliseconds kPausedPeriod{200};
constexpr milliseconds kIdPollPeriod{100};
constexpr milliseconds kScanPeriod{1000};

/// In a driver's report: the interface is to be left alone.
constexpr std::uint32_t kFlagLeaveDown = 4;

constexpr unsigned kLocalShift = 32;

}  // namespace

TalvoRouterLinkManager::TalvoRouterLinkManager(boost::asio::io_context& service, Getter getStatus,
                                               Getter getHid, std::uint32_t deviceType,
                                               const RouterPorts& ports)
    : mService(service),
      mGetStatus(std::move(getStatus)),
      mGetHid(std::move(getHid)),
      mDeviceType(deviceType),
      mPorts(ports),
      mChanged(std::make_shared<ChangedSignal>()) {
    for (unsigned port = 0; port < kRouterLinks; ++port) {
        mReceivers[port] = std::make_unique<HeartbeatReceiver>(
            port, ports.mHeartbeatsIn,
            [this, port](const LinkAddresses& addresses, const RemoteDevice& device, bool found) {
                PostChange(port, addresses, device, found);
            });
    }
    try {
        mScanThread = std::thread([this] { RunScan(); });
        mHeartbeatThread = std::thread([this] { RunHeartbeats(); });
    } catch (...) {
        Stop();
        throw;
    }
}

TalvoRouterLinkManager::~TalvoRouterLinkManager() {
    Stop();
}

void TalvoRouterLinkManager::Stop() {
    {
        const std::lock_guard lock(mSleepMutex);
        mShutdown = true;
    }
    mSleepWake.notify_all();
    mScanWake.Signal();
    for (std::thread* thread : {&mScanThread, &mHeartbeatThread}) {
        if (thread->joinable()) {
            thread->join();
        }
    }
    for (const auto& receiver : mReceivers) {
        receiver->RequestStop();
    }
}

void TalvoRouterLinkManager::RunScan() {
    LinkDriverClient driver(kRouterLinks);
    AUDIT(Feature::Information, "Scanning...\n");
    std::vector<LinkReport> reports;
    while (!mShutdown) {
        std::array<pollfd, 2> descriptors{{{driver.GetFd(), POLLIN, 0}, {mScanWake.Descriptor(), POLLIN, 0}}};
        const int ready = poll(descriptors.data(), descriptors.size(), ScanTimeoutMs());
        if (ready > 0 && descriptors[0].revents != 0 && driver.Receive(reports)) {
            for (const LinkReport& report : reports) {
                if (!mShutdown) {
                    HandleReport(report);
                }
            }
        }
        TakeSettled();
        RetryFailed();
    }
}

int TalvoRouterLinkManager::ScanTimeoutMs() const {
    auto timeout = kScanPeriod;
    const auto now = Clock::now();
    for (const Link& link : mLinks) {
        if (link.mSettled) {
            timeout = std::min(timeout, std::chrono::ceil<milliseconds>(*link.mSettled - now));
        }
    }
    return static_cast<int>(std::max(timeout, milliseconds(0)).count());
}

void TalvoRouterLinkManager::HandleReport(const LinkReport& report) {
    const unsigned port = report.mIndex;
    FsiRecord& record = mFsiInfo[port];
    if (report.mFsiId && record.mFsiId == FsiRecord::kUnknown) {
        record.mFsiId = *report.mFsiId;
    }
    if (report.mAdmaEndpointId && record.mAdmaEndpointId == FsiRecord::kUnknown) {
        record.mAdmaEndpointId = *report.mAdmaEndpointId;
    }
    LinkAddresses addresses;
    if (report.mHid != LinkReport::kLinkDown) {
        addresses = PlanAddresses(port, report.mHid, report.mPort);
    } else if ((report.mFlags & kFlagLeaveDown) == 0 && !mPaused) {
        BringUp(mPorts.mInterfaces[port]);
    }
    if (addresses.mLocal != mLinks[port].mPlanned.mLocal) {
        AUDIT(Feature::Information, "Link Change (Port %u): HID: 0x%08u, Port: %u\n", port, report.mHid,
              report.mPort);
        Plan(port, addresses);
    }
}

void TalvoRouterLinkManager::BringUp(const std::string& interface) {
    const std::string command = "ifconfig " + interface + " up";
    AUDIT(Feature::Information, "Bring up Cmd: %s\n", command.c_str());
    sys::RunShellCommand(command);
}

/// A new address is used after the interface has had time to settle; a link that goes down ends at once.
void TalvoRouterLinkManager::Plan(unsigned port, const LinkAddresses& addresses) {
    Link& link = mLinks[port];
    link.mPlanned = addresses;
    link.mSettled.reset();
    if (addresses.mLocal != 0 && SetAddress(port, addresses.mLocal)) {
        link.mSettled = Clock::now() + mPorts.mSettling;
    } else {
        TakeIntoUse(port);
    }
}

bool TalvoRouterLinkManager::SetAddress(unsigned port, std::uint32_t localIp) {
    const std::string command =
        "ifconfig " + mPorts.mInterfaces[port] + " " + Utility::DottedIp(localIp) + " netmask 255.255.255.0";
    AUDIT(Feature::Information, "Set IP Cmd: %s\n", command.c_str());
    if (sys::RunShellCommand(command) < 0) {
        AUDIT(Feature::Fault, "Failed to set IP address for T2link %u\n", port);
        return false;
    }
    return true;
}

void TalvoRouterLinkManager::TakeSettled() {
    for (unsigned port = 0; port < kRouterLinks; ++port) {
        Link& link = mLinks[port];
        if (link.mSettled && Clock::now() >= *link.mSettled && !mShutdown) {
            link.mSettled.reset();
            TakeIntoUse(port);
        }
    }
}

void TalvoRouterLinkManager::TakeIntoUse(unsigned port) {
    const LinkAddresses& addresses = mLinks[port].mPlanned;
    StoreAddresses(port, addresses);
    if (addresses.mLocal == 0) {
        mReceivers[port]->Stop();
    } else {
        mReceivers[port]->Restart(addresses);
        mLinks[port].mRetry = Clock::now() + mPorts.mRetry;
    }
}

/// The interface may come later than its report, and descriptors may be wanting for a while; the driver tells
/// of neither, so the link would stay deaf until its cable is pulled.
void TalvoRouterLinkManager::RetryFailed() {
    for (unsigned port = 0; port < kRouterLinks; ++port) {
        const Link& link = mLinks[port];
        const bool isInUse = link.mPlanned.mLocal != 0 && !link.mSettled;
        if (isInUse && mReceivers[port]->HasFailed() && Clock::now() >= link.mRetry && !mShutdown) {
            mReceivers[port]->Stop();
            Plan(port, link.mPlanned);
        }
    }
}

void TalvoRouterLinkManager::RunHeartbeats() {
    while (!mShutdown) {
        if (mPaused) {
            AUDIT(Feature::Information, "Heartbeat is paused.\n");
            Sleep(kPausedPeriod);
        } else {
            SendHeartbeats();
        }
        Sleep(kHeartbeatPeriod);
    }
}

void TalvoRouterLinkManager::Sleep(milliseconds time) {
    std::unique_lock lock(mSleepMutex);
    mSleepWake.wait_for(lock, time, [this] { return mShutdown.load(); });
}

void TalvoRouterLinkManager::SendHeartbeats() {
    for (unsigned port = 0; port < kRouterLinks; ++port) {
        const LinkAddresses addresses = AddressesOf(port);
        if (addresses.mLocal != 0 && addresses.mRemote != 0 && mReceivers[port]->IsHeartbeatSeen()) {
            SendHeartbeat(port, addresses);
        }
    }
}

void TalvoRouterLinkManager::SendHeartbeat(unsigned port, const LinkAddresses& addresses) {
    Heartbeat heartbeat;
    heartbeat.mHid = static_cast<std::uint32_t>(mGetHid());
    heartbeat.mDeviceType = mDeviceType;
    heartbeat.mIoBoxStatus = static_cast<std::uint32_t>(mGetStatus());
    const auto bytes = heartbeat.Bytes();
    const std::lock_guard lock(mSendMutex);
    mSockets[port].SendToBuf(addresses.mRemote, mPorts.mHeartbeatsOut, bytes.data(), bytes.size());
    AUDIT(Feature::CommsDebug, "Sent heartbeat to %s on port %d\n",
          Utility::DottedIp(addresses.mRemote).c_str(), int{mPorts.mHeartbeatsOut});
}

bool TalvoRouterLinkManager::IsLink(unsigned port) const {
    if (port < kRouterLinks) {
        return true;
    }
    AUDIT(Feature::Fault, "Invalid port number %u, must be in the range [0,%zu)\n", port, kRouterLinks);
    return false;
}

LinkAddresses TalvoRouterLinkManager::AddressesOf(unsigned port) const {
    const std::uint64_t pair = mLinkAddresses[port];
    return {static_cast<std::uint32_t>(pair >> kLocalShift), static_cast<std::uint32_t>(pair)};
}

void TalvoRouterLinkManager::StoreAddresses(unsigned port, const LinkAddresses& addresses) {
    mLinkAddresses[port] = std::uint64_t{addresses.mLocal} << kLocalShift | addresses.mRemote;
}

std::uint32_t TalvoRouterLinkManager::GetLocalIp(unsigned port) const {
    return IsLink(port) ? AddressesOf(port).mLocal : 0;
}

std::uint32_t TalvoRouterLinkManager::GetRemoteIp(unsigned port) const {
    return IsLink(port) ? AddressesOf(port).mRemote : 0;
}

bool TalvoRouterLinkManager::IsHeartbeatSeen(unsigned port) const {
    return IsLink(port) && mReceivers[port]->IsHeartbeatSeen();
}

std::uint32_t TalvoRouterLinkManager::GetAdmaEndpointId(unsigned port, milliseconds timeout) const {
    if (port >= kRouterLinks) {
        AUDIT_ASSERT_TEXT(false, "Port < mFsiInfo.size()");
        return 0;
    }
    const auto deadline = Clock::now() + timeout;
    for (;;) {
        const std::uint64_t id = mFsiInfo[port].mAdmaEndpointId;
        if (id != FsiRecord::kUnknown) {
            return static_cast<std::uint32_t>(id);
        }
        if (Clock::now() >= deadline) {
            AUDIT(Feature::Fault, "Failed to get FSI endpoint id for T2link %u\n", port);
            return 0;
        }
        std::this_thread::sleep_for(kIdPollPeriod);
    }
}

void TalvoRouterLinkManager::PostChange(unsigned port, const LinkAddresses& addresses,
                                        const RemoteDevice& device, bool found) {
    const unsigned long remoteIp = found ? htonl(addresses.mRemote) : 0;
    boost::asio::post(mService, [signal = mChanged, port, localIp = addresses.mLocal, remoteIp,
                                 type = device.DeviceType(), hid = device.Hid()] {
        (*signal)(static_cast<unsigned char>(port), localIp, static_cast<unsigned char>(type), remoteIp, hid);
    });
}
