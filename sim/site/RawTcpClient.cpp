#include "RawTcpClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

namespace {

constexpr time_t kPatienceSeconds = 10;

sockaddr_in AddressOf(const char* dotted, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, dotted, &address.sin_addr);
    return address;
}

}  // namespace

RawTcpClient::RawTcpClient(std::uint16_t port, const char* localAddress, std::uint16_t localPort)
    : mDescriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval patience{kPatienceSeconds, 0};
    setsockopt(mDescriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(mDescriptor, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    const int on = 1;
    setsockopt(mDescriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(mDescriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (localAddress != nullptr) {
        const sockaddr_in local = AddressOf(localAddress, localPort);
        if (bind(mDescriptor, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
            throw std::runtime_error("cannot bind");
        }
    }
    const sockaddr_in address = AddressOf("127.0.0.1", port);
    if (connect(mDescriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error("cannot connect");
    }
}

RawTcpClient::~RawTcpClient() {
    Close();
}

void RawTcpClient::Send(const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = send(mDescriptor, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            throw std::runtime_error("cannot send");
        }
        sent += static_cast<std::size_t>(count);
    }
}

std::string RawTcpClient::Receive(std::size_t size) {
    std::string bytes(size, '\0');
    const ssize_t count = recv(mDescriptor, bytes.data(), size, MSG_WAITALL);
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return bytes;
}

std::string RawTcpClient::ReceiveAvailable() {
    char chunk[65536];
    const ssize_t count = recv(mDescriptor, chunk, sizeof chunk, MSG_DONTWAIT);
    return count > 0 ? std::string(chunk, static_cast<std::size_t>(count)) : std::string();
}

bool RawTcpClient::ReceiveSome(std::string& input) {
    char chunk[65536];
    const ssize_t count = recv(mDescriptor, chunk, sizeof chunk, 0);
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
        throw std::runtime_error("nothing more came after '" + input + "'");
    }
    input.append(chunk, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return count > 0;
}

bool RawTcpClient::AwaitEnd() {
    std::string rest;
    try {
        while (ReceiveSome(rest)) {
        }
    } catch (const std::runtime_error&) {
        return false;
    }
    return true;
}

void RawTcpClient::EndSending() {
    shutdown(mDescriptor, SHUT_WR);
}

void RawTcpClient::Close() {
    if (mDescriptor >= 0) {
        close(std::exchange(mDescriptor, -1));
    }
}

void RawTcpClient::Reset() {
    const linger atOnce{1, 0};
    setsockopt(mDescriptor, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    Close();
}
