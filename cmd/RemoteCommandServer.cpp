#include "RemoteCommandServer.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/system/system_error.hpp>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <utility>

#include "Audit.h"
#include "ClientConnection.h"

namespace cmd {

namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;

constexpr int kBacklog = 128;
constexpr std::chrono::milliseconds kDescriptorWait{100};

void ThrowOn(const error_code& error, const char* step) {
    if (error) {
        throw boost::system::system_error(error, step);
    }
}

/// Another accept at once would fail the same way, over and over.
bool IsWantOfDescriptors(const error_code& error) {
    constexpr std::array<int, 4> kErrors{{EMFILE, ENFILE, ENOBUFS, ENOMEM}};
    return error.category() == boost::system::system_category() &&
           std::find(kErrors.begin(), kErrors.end(), error.value()) != kErrors.end();
}

/// The routers' sockets, which have to be below FD_SETSIZE too, find a quarter of the descriptors free
/// however many clients there are.
bool IsToBeLeftFree(int descriptor) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    const rlim_t usable = std::min<rlim_t>(limit.rlim_cur, FD_SETSIZE);
    return static_cast<rlim_t>(descriptor) >= usable - usable / 4;
}

/// Programs that this one starts don't get the descriptor.
void CloseOnExec(int descriptor) {
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

/// A client whose machine has gone without a word would keep its descriptor for ever. The times are seconds.
void ProbeWhenIdle(int descriptor) {
    constexpr std::array<std::array<int, 3>, 4> kOptions{{{SOL_SOCKET, SO_KEEPALIVE, 1},
                                                          {IPPROTO_TCP, TCP_KEEPIDLE, 60},
                                                          {IPPROTO_TCP, TCP_KEEPINTVL, 10},
                                                          {IPPROTO_TCP, TCP_KEEPCNT, 6}}};
    for (const auto& [level, name, value] : kOptions) {
        ::setsockopt(descriptor, level, name, &value, sizeof value);
    }
}

/// Local date and time, with a line end.
std::string TimeText() {
    constexpr std::size_t kTimeTextSize = 26;
    std::array<char, kTimeTextSize> text{};
    const std::time_t now = std::time(nullptr);
    return ::ctime_r(&now, text.data()) != nullptr ? text.data() : "\n";
}

}  // namespace

RemoteCommandServer::RemoteCommandServer(boost::asio::io_service& io, const tcp::endpoint& endpoint,
                                         std::string name)
    : mIo(io), mAcceptor(io), mNextSocket(io), mAcceptTimer(io), mName(std::move(name)) {
    error_code error;
    mAcceptor.open(endpoint.protocol(), error);
    ThrowOn(error, "open");
    CloseOnExec(mAcceptor.native_handle());
    mAcceptor.set_option(tcp::acceptor::reuse_address(true), error);
    ThrowOn(error, "set_option");
    mAcceptor.bind(endpoint, error);
    ThrowOn(error, "bind");
    mAcceptor.listen(kBacklog, error);
    ThrowOn(error, "listen");
}

void RemoteCommandServer::StartAccept() {
    mAcceptor.async_accept(mNextSocket, [weak = weak_from_this()](const error_code& error) {
        if (const auto self = weak.lock()) {
            self->OnAccepted(error);
        }
    });
}

void RemoteCommandServer::OnAccepted(const error_code& error) {
    if (!error && IsToBeLeftFree(mNextSocket.native_handle())) {
        TurnAway();
    } else if (!error) {
        Welcome();
    }
    if (IsWantOfDescriptors(error)) {
        StartAcceptLater();
    } else {
        StartAccept();
    }
}

void RemoteCommandServer::Welcome() {
    CloseOnExec(mNextSocket.native_handle());
    error_code ignored;
    mNextSocket.set_option(tcp::no_delay(true), ignored);
    ProbeWhenIdle(mNextSocket.native_handle());
    const auto connection = std::make_shared<ClientConnection>(
        std::move(mNextSocket), mDelimiter, mUnsentToAll,
        [weak = weak_from_this()](const ConnectionPtr& client, const error_code& error, std::string line) {
            if (const auto self = weak.lock()) {
                self->PostEvent(client, error, std::move(line));
            }
        });
    mConnected(connection);
    connection->Start(Banner());
}

void RemoteCommandServer::TurnAway() {
    static const std::string kReason = "Too many clients\n";
    error_code ignored;
    mNextSocket.write_some(boost::asio::buffer(kReason), ignored);
    mNextSocket.close(ignored);
    AUDIT(Feature::Fault, "CommandLine: turned a client away: %s", kReason.c_str());
}

void RemoteCommandServer::StartAcceptLater() {
    mAcceptTimer.expires_after(kDescriptorWait);
    mAcceptTimer.async_wait([weak = weak_from_this()](const error_code&) {
        if (const auto self = weak.lock()) {
            self->StartAccept();
        }
    });
}

void RemoteCommandServer::PostEvent(const ConnectionPtr& connection, const error_code& error,
                                    std::string line) {
    boost::asio::post(mIo, [weak = weak_from_this(), connection, error, line = std::move(line)] {
        const auto self = weak.lock();
        if (self == nullptr) {
            return;
        }
        if (error) {
            self->OnEnd(connection, error);
        } else {
            self->mLineReceived(connection, line);
        }
    });
}

void RemoteCommandServer::OnEnd(const ConnectionPtr& connection, const error_code& error) {
    mDisconnected(connection, error);
    if (connection->DropReason() != nullptr) {
        AUDIT(Feature::Fault, "CommandLine: dropped client %s: %s\r\n", connection->Peer().c_str(),
              connection->DropReason());
    }
}

std::string RemoteCommandServer::Banner() const {
    return "\nSorvel command shell: " + (mName.empty() ? "" : mName + " ") + TimeText() +
           "Type 'help' to see available commands.\n"
           "Type 'cmd --help' to find out more about 'cmd'.\n";
}

}  // namespace cmd
