#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <string>

/// An address to bind to or to connect to.
class SocketAddress {
  public:
    SocketAddress() = default;
    SocketAddress(const SocketAddress&) = default;
    SocketAddress& operator=(const SocketAddress&) = default;
    virtual ~SocketAddress() = default;

    virtual const sockaddr* Data() const = 0;
    virtual socklen_t Size() const = 0;

    /// False where the text it was made of is no address.
    virtual bool IsValid() const = 0;
    virtual std::uint16_t Port() const = 0;

    /// The address without its port.
    virtual std::string Text() const = 0;
};
