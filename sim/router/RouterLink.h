#pragma once

#include <array>
#include <atomic>
#include <boost/asio/io_service.hpp>
#include <boost/asio/ip/udp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "RouterStream.h"

class DeskCommand;

namespace sim {

/// Where the two ends of a router link meet. Addresses are IPv4, dotted.
struct RouterEnds {
    std::string mLocal;
    std::string mBox;
    std::uint16_t mBoxTcp = 55000;
    std::uint16_t mBoxUdp = 60002;
    std::uint16_t mLocalUdp = 60001;
};

/// One router's end of its link to the box: heartbeats both ways, and a command stream that it dials, again
/// a second after a failure or loss. On its service's thread; the service is stopped before this goes.
class RouterLink {
  public:
    static constexpr std::size_t kKept = 100;  ///< received commands
    static constexpr std::size_t kKeptBytes =
        std::size_t{16} * 1024 * 1024;  ///< of their texts; the newest is kept anyway

    /// Throws std::runtime_error, naming the address, where it can't be had.
    RouterLink(boost::asio::io_service& service, RouterEnds ends, std::uint32_t hid, std::uint32_t type);
    ~RouterLink();
    RouterLink(const RouterLink&) = delete;
    RouterLink& operator=(const RouterLink&) = delete;

    /// Starts to send heartbeats and to dial; once.
    void Start();

    std::uint32_t Hid() const { return mHid; }

    /// The box's, as its heartbeats tell it; 0 before the first.
    std::uint32_t BoxHid() const { return mBoxHid; }

    // These throw BadText, and do nothing, where it can't be done now.

    void Send(const DeskCommand& command);
    void SendRaw(const std::string& bytes);
    void SendDatagram(const std::string& bytes);

    void SetHeartbeat(bool on) { mHeartbeat = on; }
    void SetReading(bool on);

    /// Closes the stream, and doesn't dial until Connect().
    void Disconnect();
    void Connect();

    /// One line of JSON.
    std::string StateText() const;

  private:
    using Tcp = boost::asio::ip::tcp;
    using Udp = boost::asio::ip::udp;

    void BindHeartbeats();
    void RunHeartbeats();
    void SendHeartbeat();
    void ReceiveDatagram();
    void TakeDatagram(std::size_t size);
    void Dial();
    void DialLater();
    void Keep(const std::string& message);
    bool IsConnected() const { return mStream && mStream->IsConnected(); }

    boost::asio::io_service& mService;
    const RouterEnds mEnds;
    const std::uint32_t mHid;
    const std::uint32_t mType;

    Udp::socket mUdp;
    const Udp::endpoint mBoxUdp;
    Udp::endpoint mSender;
    std::array<char, 2048> mDatagram{};
    int mUdpDescriptor = -1;

    // Heartbeats go out from a thread of their own, or the handling of a long request would hold them up.
    std::thread mHeartbeatThread;
    std::mutex mHeartbeatMutex;
    std::condition_variable mHeartbeatWake;
    bool mIsEnding = false;
    std::atomic<bool> mHeartbeat{true};
    std::atomic<std::uint64_t> mHeartbeatsSent{0};
    std::uint64_t mHeartbeatsReceived = 0;
    std::uint32_t mBoxHid = 0;
    std::uint32_t mBoxType = 0;
    std::uint32_t mBoxStatus = 0;

    std::shared_ptr<RouterStream> mStream;  ///< dialling or connected; else null
    boost::asio::steady_timer mRedialTimer;
    bool mWantsConnection = true;
    bool mReads = true;
    std::uint64_t mConnections = 0;
    std::deque<std::string> mReceived;  ///< as JSON, newest last
    std::size_t mReceivedBytes = 0;
};

}  // namespace sim
