#pragma once

#include <array>
#include <atomic>
#include <boost/signals2/signal.hpp>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "AddressPlan.h"
#include "HBSocket.h"
#include "HeartbeatReceiver.h"
#include "LinkDriverClient.h"
#include "RouterPorts.h"
#include "SocketHandler.h"
#include "StdoutLog.h"
#include "WakeEvent.h"

namespace boost::asio {
class io_context;
}

/// Watches the two links to the routers: learns of their state from the link driver, gives the interfaces
/// their addresses, exchanges heartbeats with the far ends and tells when a router is found or lost.
///
/// Its threads: one scans (driver and addresses), one sends heartbeats, and one per link receives them.
class TalvoRouterLinkManager {
  public:
    /// Link, local address, type of the remote device, its address in network order or 0 when it was lost,
    /// its HID. Fires on the event loop.
    using ChangedSignal = boost::signals2::signal<void(unsigned char, unsigned long, unsigned char,
                                                       unsigned long, unsigned long)>;
    using Getter = std::function<unsigned long()>;

    /// Starts the threads. `getStatus` and `getHid` are called on any of them and give what goes into the
    /// heartbeats, with `deviceType`. The event loop outlives this.
    TalvoRouterLinkManager(boost::asio::io_context& service, Getter getStatus, Getter getHid,
                           std::uint32_t deviceType, const RouterPorts& ports = {});

    /// Joins the threads.
    ~TalvoRouterLinkManager();
    TalvoRouterLinkManager(const TalvoRouterLinkManager&) = delete;
    TalvoRouterLinkManager& operator=(const TalvoRouterLinkManager&) = delete;

    ChangedSignal& Changed() { return *mChanged; }

    // Any thread. A link out of range is logged, and yields 0 or false.

    /// The link's addresses in host order, 0 when it has none.
    std::uint32_t GetLocalIp(unsigned port) const;
    std::uint32_t GetRemoteIp(unsigned port) const;
    bool IsHeartbeatSeen(unsigned port) const;

    /// The link's address on the audio DMA, as the driver tells it: waits for it up to `timeout`. 0, and a
    /// log line, where it stays unknown.
    std::uint32_t GetAdmaEndpointId(unsigned port, std::chrono::milliseconds timeout) const;

    /// Stops and resumes the heartbeats.
    void SetPaused(bool paused) { mPaused = paused; }

    /// Sends a heartbeat now, on each link on which the router has been heard.
    void SendHeartbeats();

  private:
    using Clock = std::chrono::steady_clock;

    /// What the scan thread knows of a link.
    struct Link {
        LinkAddresses mPlanned;                     ///< in use, or to be when it has settled
        std::optional<Clock::time_point> mSettled;  ///< when the interface's new address may be used
        Clock::time_point mRetry;                   ///< when a receiver that couldn't begin has another try
    };

    void Stop();
    void RunScan();
    int ScanTimeoutMs() const;
    void HandleReport(const LinkReport& report);
    void BringUp(const std::string& interface);
    void Plan(unsigned port, const LinkAddresses& addresses);
    bool SetAddress(unsigned port, std::uint32_t localIp);
    void TakeIntoUse(unsigned port);
    void TakeSettled();
    void RetryFailed();

    void RunHeartbeats();
    void Sleep(std::chrono::milliseconds time);
    void SendHeartbeat(unsigned port, const LinkAddresses& addresses);

    bool IsLink(unsigned port) const;
    LinkAddresses AddressesOf(unsigned port) const;
    void StoreAddresses(unsigned port, const LinkAddresses& addresses);
    void PostChange(unsigned port, const LinkAddresses& addresses, const RemoteDevice& device, bool found);

    /// An id that the driver has told, or all ones behind the width of an id.
    struct FsiRecord {
        static constexpr std::uint64_t kUnknown = ~std::uint64_t{0};
        std::atomic<std::uint64_t> mFsiId{kUnknown};
        std::atomic<std::uint64_t> mAdmaEndpointId{kUnknown};
    };

    boost::asio::io_context& mService;
    const Getter mGetStatus;
    const Getter mGetHid;
    const std::uint32_t mDeviceType;
    const RouterPorts mPorts;
    std::shared_ptr<ChangedSignal> mChanged;
    std::array<FsiRecord, kRouterLinks> mFsiInfo;
    std::array<std::atomic<std::uint64_t>, kRouterLinks> mLinkAddresses{};  ///< local in the upper half
    std::atomic<bool> mPaused{false};

    std::mutex mSendMutex;  ///< the sockets that send
    StdoutLog mLog;
    SocketHandler mSendHandler{mLog};
    std::array<HBSocket, kRouterLinks> mSockets{HBSocket(mSendHandler), HBSocket(mSendHandler)};

    std::atomic<bool> mShutdown{false};
    WakeEvent mScanWake;
    std::mutex mSleepMutex;
    std::condition_variable mSleepWake;

    std::array<std::unique_ptr<HeartbeatReceiver>, kRouterLinks> mReceivers;
    std::array<Link, kRouterLinks> mLinks;  ///< the scan thread's
    std::thread mScanThread;
    std::thread mHeartbeatThread;
};
