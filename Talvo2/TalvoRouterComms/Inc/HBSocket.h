#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "UdpSocket.h"

/// What both ends of a link tell each other of themselves, as one datagram:
///
/// | offset | size | field |
/// |---|---|---|
/// | 0 | 4 | sender's HID |
/// | 4 | 4 | sender's device type |
/// | 8 | 4 | sender's status word |
struct Heartbeat {
    static constexpr std::size_t kSize = 12;

    std::uint32_t mHid = 0;
    std::uint32_t mDeviceType = 0;
    std::uint32_t mIoBoxStatus = 0;

    std::array<unsigned char, kSize> Bytes() const;
};

/// A socket for heartbeats: keeps the last one that came.
class HBSocket : public UdpSocket {
  public:
    using UdpSocket::UdpSocket;

    /// Keeps a datagram of the right size; any other is ignored.
    void OnRawData(const char* data, std::size_t size, const sockaddr* from, unsigned fromSize) override;

    /// Gives what has come since the last call: false where nothing has.
    bool TakeHeartbeat(std::uint32_t& hid, std::uint32_t& deviceType);

  private:
    std::array<unsigned char, Heartbeat::kSize> mLast{};
    bool mFresh = false;
};
