#include "HeartbeatReceiver.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <system_error>
#include <utility>

#include "Audit.h"
#include "Utility.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLossTime{1};
constexpr long kMicroseconds = 1'000'000;

}  // namespace

HeartbeatReceiver::HeartbeatReceiver(unsigned link, std::uint16_t port, OnChange onChange)
    : mLink(link), mPort(port), mOnChange(std::move(onChange)) {}

HeartbeatReceiver::~HeartbeatReceiver() {
    Stop();
}

void HeartbeatReceiver::Restart(const LinkAddresses& addresses) {
    if (mThread.joinable()) {
        AUDIT(Feature::Fault, "HB receiving thread (Port %u) still running on new link, forcibly joinning\n",
              mLink);
        Stop();
    }
    mStop = false;
    mHasFailed = false;
    try {
        mThread = std::thread([this, addresses] { Run(addresses); });
    } catch (const std::system_error& failure) {
        AUDIT(Feature::Fault, "Unable to receive heartbeats of Link %u: %s\n", mLink, failure.what());
        mHasFailed = true;
    }
}

void HeartbeatReceiver::Stop() {
    RequestStop();
    if (mThread.joinable()) {
        mThread.join();
    }
}

void HeartbeatReceiver::RequestStop() {
    mStop = true;
    mHandler.Wake();
}

void HeartbeatReceiver::Run(const LinkAddresses& addresses) {
    const auto socket = Bind(addresses.mLocal);
    if (socket == nullptr) {
        mHasFailed = true;
        return;
    }
    RemoteDevice device;
    std::uint32_t hid = 0;
    std::uint32_t deviceType = 0;
    while (!mStop) {
        const bool isHeard = AwaitHeartbeat(*socket, hid, deviceType);
        if (isHeard) {
            AUDIT(Feature::CommsDebug, "Incoming heartbeat\n");
        }
        mHeartbeatSeen = isHeard;
        Report(isHeard ? device.OnHeartbeat(hid, deviceType) : device.OnSilence(), addresses, device);
    }
    mHeartbeatSeen = false;
    Report(device.OnSilence(), addresses, device);
    socket->SetCloseAndDelete();
    mHandler.Select(0, 0);
}

/// Null where the address can't be had.
std::unique_ptr<HBSocket> HeartbeatReceiver::Bind(std::uint32_t localIp) {
    auto socket = std::make_unique<HBSocket>(mHandler);
    if (!socket->Create() || !socket->SetSoReuseaddr() || socket->Bind(localIp, mPort) != 0) {
        AUDIT(Feature::Fault, "Unable to bind Link %u to Port %d\n", mLink, int{mPort});
        return nullptr;
    }
    mHandler.Add(socket.get());
    return socket;
}

/// Waits a whole second for a heartbeat: no other datagram and no signal ends that. What came while this
/// thread had no time counts.
bool HeartbeatReceiver::AwaitHeartbeat(HBSocket& socket, std::uint32_t& hid, std::uint32_t& deviceType) {
    const auto deadline = Clock::now() + kLossTime;
    auto left = std::chrono::microseconds(kLossTime);
    do {
        mHandler.Select(left.count() / kMicroseconds, left.count() % kMicroseconds);
        if (socket.TakeHeartbeat(hid, deviceType)) {
            return true;
        }
        left = std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
    } while (left.count() > 0 && !mStop);
    mHandler.Select(0, 0);
    return socket.TakeHeartbeat(hid, deviceType);
}

void HeartbeatReceiver::Report(RemoteDevice::Change change, const LinkAddresses& addresses,
                               const RemoteDevice& device) {
    if (change == RemoteDevice::Change::None) {
        return;
    }
    const bool isLost = change == RemoteDevice::Change::Lost;
    AUDIT(Feature::Information, isLost ? "Remote device lost: %s\n" : "New remote device found: %s\n",
          Utility::DottedIp(addresses.mRemote).c_str());
    if (change != RemoteDevice::Change::Remembered) {
        mOnChange(addresses, device, !isLost);
    }
}
