#include "LineServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

#include "LineText.h"

namespace sim {
namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;

constexpr std::chrono::milliseconds kAcceptRetry{100};

std::string TextOf(const LineEndpoint& endpoint) {
    return endpoint.mAddress + ":" + std::to_string(endpoint.mPort);
}

[[noreturn]] void RefuseEndpoint(const LineEndpoint& endpoint, int error) {
    throw std::system_error(error, std::generic_category(), "cannot listen on " + TextOf(endpoint));
}

/// A listening socket that child processes don't inherit, from the moment it exists.
int Listen(const LineEndpoint& endpoint) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(endpoint.mPort);
    if (::inet_pton(AF_INET, endpoint.mAddress.c_str(), &address.sin_addr) != 1) {
        RefuseEndpoint(endpoint, EINVAL);
    }
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (listener < 0) {
        RefuseEndpoint(endpoint, errno);
    }
    const int on = 1;
    const bool isListening = ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
                             ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                             ::listen(listener, SOMAXCONN) == 0;
    if (!isListening) {
        const int error = errno;
        ::close(listener);
        RefuseEndpoint(endpoint, error);
    }
    return listener;
}

/// Best effort: a few bytes into a fresh socket's buffer.
void TurnAway(int client) {
    static constexpr std::string_view kText = "error too many clients; the connection ends\n";
    [[maybe_unused]] const ssize_t sent =
        ::send(client, kText.data(), kText.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    ::close(client);
}

}  // namespace

void ParseEndpoint(const std::string& text, LineEndpoint& endpoint) {
    constexpr std::uint32_t kMaxPort = 0xFFFF;
    const std::size_t colon = text.find(':');
    const std::string address = text.substr(0, colon);
    in_addr parsed = {};
    if (!address.empty() && ::inet_pton(AF_INET, address.c_str(), &parsed) != 1) {
        throw BadText(Quoted(address) + " isn't an IPv4 address");
    }
    if (colon != std::string::npos) {
        endpoint.mPort = static_cast<std::uint16_t>(ParseNumber("port", text.substr(colon + 1), 0, kMaxPort));
    }
    if (!address.empty()) {
        endpoint.mAddress = address;
    }
}

LineServer::LineServer(boost::asio::io_service& service, const LineEndpoint& endpoint, LineHandler handler,
                       std::size_t maxLine)
    : mService(service),
      mHandler(std::move(handler)),
      mMaxLine(maxLine),
      mAcceptor(service, tcp::v4(), Listen(endpoint)),
      mRetryTimer(service),
      mAddress(endpoint.mAddress + ":" + std::to_string(mAcceptor.local_endpoint().port())) {}

void LineServer::AwaitClient() {
    mAcceptor.async_wait(tcp::acceptor::wait_read, [this](const error_code& error) {
        if (!error) {
            AcceptClient();
        }
    });
}

void LineServer::AcceptClient() {
    const int client = ::accept4(mAcceptor.native_handle(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (client >= 0) {
        Serve(client);
    } else if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
        RetryLater();  // no descriptors or no memory left: some may come free
        return;
    }
    AwaitClient();
}

void LineServer::RetryLater() {
    mRetryTimer.expires_after(kAcceptRetry);
    mRetryTimer.async_wait([this](const error_code& error) {
        if (!error) {
            AwaitClient();
        }
    });
}

void LineServer::Serve(int client) {
    if (*mClients == kMaxClients) {
        TurnAway(client);
        return;
    }
    tcp::socket socket(mService, tcp::v4(), client);
    error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    ++*mClients;
    const auto connection = std::make_shared<LineConnection>(mService, std::move(socket), mMaxLine, mHandler,
                                                             [clients = mClients] { --*clients; });
    connection->Start();
}

}  // namespace sim
