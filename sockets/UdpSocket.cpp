#include "UdpSocket.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>

#include "Ipv4Address.h"

bool UdpSocket::Create() {
    if (GetSocket() >= 0) {
        return true;
    }
    const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) {
        LogFatal("socket", errno);
        return false;
    }
    Attach(descriptor);
    return true;
}

int UdpSocket::Bind(std::uint32_t ip, std::uint16_t port, int retries) {
    if (!Create()) {
        return -1;
    }
    for (int attempt = 0; attempt <= retries; ++attempt) {
        const Ipv4Address address(ip, static_cast<std::uint16_t>(port + attempt));
        if (::bind(GetSocket(), address.Data(), address.Size()) == 0) {
            return 0;
        }
    }
    LogError("bind", errno);
    return -1;
}

bool UdpSocket::SendToBuf(std::uint32_t ip, std::uint16_t port, const void* data, std::size_t size,
                          int flags) {
    if (!Create()) {
        return false;
    }
    const Ipv4Address address(ip, port);
    if (::sendto(GetSocket(), data, size, flags | MSG_NOSIGNAL | MSG_DONTWAIT, address.Data(),
                 address.Size()) < 0) {
        LogError("sendto", errno);
        return false;
    }
    return true;
}

std::uint16_t UdpSocket::Port() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(GetSocket(), reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

void UdpSocket::OnRead() {
    constexpr int kMostAtATime = 64;  // so that a flood doesn't keep the loop from the other sockets
    std::array<char, kMaxDatagram> datagram;
    for (int count = 0; count < kMostAtATime; ++count) {
        sockaddr_storage from{};
        socklen_t fromSize = sizeof from;
        const ssize_t size = ::recvfrom(GetSocket(), datagram.data(), datagram.size(), 0,
                                        reinterpret_cast<sockaddr*>(&from), &fromSize);
        if (size < 0) {
            if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
                LogError("recvfrom", errno);
            }
            return;
        }
        OnRawData(datagram.data(), static_cast<std::size_t>(size), reinterpret_cast<sockaddr*>(&from),
                  fromSize);
    }
}

void UdpSocket::OnRawData(const char* /*data*/, std::size_t /*size*/, const sockaddr* /*from*/,
                          unsigned /*fromSize*/) {}
