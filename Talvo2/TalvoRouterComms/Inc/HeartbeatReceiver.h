#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>

#include "AddressPlan.h"
#include "HBSocket.h"
#include "RemoteDevice.h"
#include "SocketHandler.h"
#include "StdoutLog.h"

/// Receives the heartbeats of one link, on a thread of its own, and tells when the device at the other end is
/// found and lost. It is lost after a second without a heartbeat.
class HeartbeatReceiver {
  public:
    /// The device's state as it is now, `found` false when it was lost. On the receiver's thread.
    using OnChange =
        std::function<void(const LinkAddresses& addresses, const RemoteDevice& device, bool found)>;

    HeartbeatReceiver(unsigned link, std::uint16_t port, OnChange onChange);

    /// Joins the thread.
    ~HeartbeatReceiver();
    HeartbeatReceiver(const HeartbeatReceiver&) = delete;
    HeartbeatReceiver& operator=(const HeartbeatReceiver&) = delete;

    /// Receives at `addresses.mLocal` from now on, in place of the address before. One thread at a time.
    void Restart(const LinkAddresses& addresses);

    /// Ends receiving; a device that was known is reported as lost first. The same thread as Restart, or its
    /// owner after that has ended.
    void Stop();

    /// Has the thread end, and doesn't wait for it. Any thread.
    void RequestStop();

    /// Whether it couldn't begin at its address, so that nothing is received before another Restart. Any
    /// thread.
    bool HasFailed() const { return mHasFailed; }

    /// Whether heartbeats come. Any thread.
    bool IsHeartbeatSeen() const { return mHeartbeatSeen; }

  private:
    void Run(const LinkAddresses& addresses);
    std::unique_ptr<HBSocket> Bind(std::uint32_t localIp);
    bool AwaitHeartbeat(HBSocket& socket, std::uint32_t& hid, std::uint32_t& deviceType);
    void Report(RemoteDevice::Change change, const LinkAddresses& addresses, const RemoteDevice& device);

    const unsigned mLink;
    const std::uint16_t mPort;
    const OnChange mOnChange;
    StdoutLog mLog;
    SocketHandler mHandler{mLog};
    std::atomic<bool> mStop{false};
    std::atomic<bool> mHasFailed{false};
    std::atomic<bool> mHeartbeatSeen{false};
    std::thread mThread;
};
