#include "ListenSocket.h"

#include <netinet/in.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>

#include "ISocketHandler.h"
#include "Ipv4Address.h"

namespace {

constexpr std::chrono::milliseconds kRest{100};

bool IsWantOfMeans(int code) {
    return code == EMFILE || code == ENFILE || code == ENOBUFS || code == ENOMEM;
}

}  // namespace

int ListenSocketBase::Bind(std::uint16_t port, int backlog) {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) {
        LogFatal("socket", errno);
        return -1;
    }
    Attach(descriptor);
    SetSoReuseaddr();
    const Ipv4Address address(INADDR_ANY, port);
    if (::bind(descriptor, address.Data(), address.Size()) != 0) {
        LogFatal("bind", errno);
        return -1;
    }
    if (::listen(descriptor, backlog) != 0) {
        LogFatal("listen", errno);
        return -1;
    }
    return 0;
}

std::uint16_t ListenSocketBase::Port() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(GetSocket(), reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

void ListenSocketBase::OnRead() {
    const int descriptor = ::accept4(GetSocket(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (descriptor >= FD_SETSIZE) {
        LogError("accept: FD_SETSIZE reached", 0);
        ::close(descriptor);
    } else if (descriptor >= 0) {
        Take(descriptor);
    } else if (IsWantOfMeans(errno)) {
        LogError("accept", errno);
        SetReadPaused(true);
        mRestsUntil = Clock::now() + kRest;
    }
}

Socket::Clock::time_point ListenSocketBase::NextDeadline() const {
    return mRestsUntil;
}

void ListenSocketBase::OnDeadline(Clock::time_point now) {
    if (now >= mRestsUntil) {
        mRestsUntil = Clock::time_point::max();
        SetReadPaused(false);
    }
}
