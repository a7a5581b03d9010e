#pragma once

#include <netinet/in.h>

#include "SocketAddress.h"

/// An IPv4 address and port.
class Ipv4Address : public SocketAddress {
  public:
    /// `ip` is in host order; 0 is any.
    Ipv4Address(std::uint32_t ip, std::uint16_t port);

    /// `dotted` is four decimal numbers; anything else makes an address that isn't valid.
    Ipv4Address(const std::string& dotted, std::uint16_t port);

    explicit Ipv4Address(const sockaddr_in& address) : mAddress(address) {}

    const sockaddr* Data() const override { return reinterpret_cast<const sockaddr*>(&mAddress); }
    socklen_t Size() const override { return sizeof mAddress; }
    bool IsValid() const override { return mIsValid; }
    std::uint16_t Port() const override { return ntohs(mAddress.sin_port); }
    std::string Text() const override;

    /// Host order.
    std::uint32_t Ip() const { return ntohl(mAddress.sin_addr.s_addr); }

  private:
    sockaddr_in mAddress{};
    bool mIsValid = true;
};
