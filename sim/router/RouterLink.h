#pragma once

#include <array>
#include <boost/asio/io_service.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/udp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "MessageReader.h"

class DeskCommand;

namespace sim {

/// Where the two ends of a router link meet.
struct RouterEnds {
    std::string mLocal;
    std::string mBox;
    std::uint16_t mBoxTcp = 55000;
    std::uint16_t mBoxUdp = 60002;
    std::uint16_t mLocalUdp = 60001;
};

/// One router's end of its link to the box: heartbeats both ways, and a command stream that it dials. On its
/// service's thread; the service is stopped before this goes.
class RouterLink {
  public:
    static constexpr std::size_t kKept = 100;  ///< received commands
    static constexpr std::size_t kMaxUnsent =
        16 * 1024 * 1024;  ///< bytes that wait for a box that doesn't read

    /// Throws boost::system::system_error where the local address can't be had.
    RouterLink(boost::asio::io_service& service, RouterEnds ends, std::uint32_t hid, std::uint32_t type);

    /// Starts to send heartbeats and to dial.
    void Start();

    std::uint32_t Hid() const { return mHid; }

    /// The box's, as its heartbeats tell it; 0 before the first.
    std::uint32_t BoxHid() const { return mBoxHid; }

    // Throw BadText where it can't be done now.

    void Send(const DeskCommand& command);
    void SendRaw(std::string bytes);
    void SendDatagram(const std::string& bytes);

    void SetHeartbeat(bool on) { mHeartbeat = on; }
    void SetReading(bool on);
    void Disconnect();
    void Connect();

    /// One line of JSON.
    std::string StateText() const;

  private:
    using Tcp = boost::asio::ip::tcp;
    using Udp = boost::asio::ip::udp;

    void AwaitHeartbeatTime();
    void ReceiveDatagram();
    void TakeDatagram(std::size_t size);
    void Dial();
    void DialLater();
    void OnConnected();
    void Read();
    void Write();
    void Lose();

    boost::asio::io_service& mService;
    const RouterEnds mEnds;
    const std::uint32_t mHid;
    const std::uint32_t mType;

    Udp::socket mUdp;
    Udp::endpoint mBoxUdp;
    Udp::endpoint mSender;
    std::array<char, 2048> mDatagram{};
    boost::asio::steady_timer mHeartbeatTimer;
    bool mHeartbeat = true;
    std::uint64_t mHeartbeatsSent = 0;
    std::uint64_t mHeartbeatsReceived = 0;
    std::uint32_t mBoxHid = 0;
    std::uint32_t mBoxType = 0;
    std::uint32_t mBoxStatus = 0;

    Tcp::socket mTcp;
    boost::asio::steady_timer mDialTimer;
    std::uint64_t mGeneration = 0;  ///< of the socket: what belongs to an earlier one is ignored
    bool mWantsConnection = true;
    bool mIsConnected = false;
    bool mIsReading = false;
    bool mReads = true;
    std::uint64_t mConnections = 0;
    std::deque<std::string> mUnsent;
    std::size_t mUnsentBytes = 0;
    std::array<char, 65536> mChunk{};
    MessageReader mReader;
    std::deque<std::string> mReceived;
};

}  // namespace sim
