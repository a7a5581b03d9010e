#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>

#include "Socket.h"

struct sockaddr;

/// A UDP socket. Datagrams may be sent by any one thread at a time; it receives on its handler's thread.
class UdpSocket : public Socket {
  public:
    explicit UdpSocket(ISocketHandler& handler) : Socket(handler) {}

    /// Binds to `ip` (host order) and `port`, or to one of the `retries` ports that follow: 0, or -1 with a
    /// log entry. Options that must stand before (SetSoReuseaddr) need `Create` first.
    int Bind(std::uint32_t ip, std::uint16_t port, int retries = 0);

    /// Makes the descriptor where there is none; false, and a log entry, where the system refuses.
    bool Create();

    /// Sends one datagram without waiting. `ip` in host order. False, and a log entry, where it couldn't go.
    bool SendToBuf(std::uint32_t ip, std::uint16_t port, const void* data, std::size_t size, int flags = 0);

    /// The port it is bound to, 0 for none.
    std::uint16_t Port() const;

    /// Reads what is there and hands each datagram on.
    void OnRead() override;

    /// One datagram, whole: what was longer than kMaxDatagram has that size and more bytes are lost.
    virtual void OnRawData(const char* data, std::size_t size, const sockaddr* from, unsigned fromSize);

    static constexpr std::size_t kMaxDatagram = 2048;
};
