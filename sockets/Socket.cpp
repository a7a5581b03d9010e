#include "Socket.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "ISocketHandler.h"
#include "StdLog.h"

Socket::Socket(ISocketHandler& handler) : mHandler(handler) {}

Socket::~Socket() {
    if (mHandler.Forget(this)) {
        LogError("Socket destructor called while still in use", 0);
    }
    if (GetSocket() >= 0) {
        ::close(GetSocket());
    }
}

void Socket::SetCloseAndDelete() {
    if (!mCloseAndDelete) {
        mTimeOfClosing = Clock::now().time_since_epoch().count();
        mCloseAndDelete = true;
    }
    mHandler.Wake();
}

Socket::Clock::time_point Socket::TimeOfClosing() const {
    return Clock::time_point(Clock::duration(mTimeOfClosing));
}

void Socket::SetReadPaused(bool on) {
    mReadPaused = on;
    if (!on) {
        mReadAgain = true;
        mHandler.Wake();
    }
}

bool Socket::SetSoReuseaddr(bool on) {
    const int value = on ? 1 : 0;
    return SetOption(SOL_SOCKET, SO_REUSEADDR, &value, sizeof value, "setsockopt(SOL_SOCKET, SO_REUSEADDR)");
}

bool Socket::SetSoLinger(bool on, int seconds) {
    const linger value{on ? 1 : 0, seconds};
    return SetOption(SOL_SOCKET, SO_LINGER, &value, sizeof value, "setsockopt(SOL_SOCKET, SO_LINGER)");
}

bool Socket::SetTcpNodelay(bool on) {
    const int value = on ? 1 : 0;
    return SetOption(IPPROTO_TCP, TCP_NODELAY, &value, sizeof value, "setsockopt(IPPROTO_TCP, TCP_NODELAY)");
}

bool Socket::SetOption(int level, int option, const void* value, unsigned size, const char* text) const {
    if (::setsockopt(GetSocket(), level, option, value, size) == 0) {
        return true;
    }
    LogError(text, errno);
    return false;
}

void Socket::OnException() {
    LogError("exception on select", 0);
    SetCloseAndDelete();
}

void Socket::OnDisconnect(short /*info*/, int /*code*/) {}

Socket::Clock::time_point Socket::NextDeadline() const {
    return Clock::time_point::max();
}

void Socket::OnDeadline(Clock::time_point /*now*/) {}

void Socket::Close() {
    if (GetSocket() >= 0) {
        ::close(mDescriptor.exchange(-1));
    }
}

void Socket::Attach(int descriptor) {
    if (GetSocket() >= 0) {
        ::close(GetSocket());
    }
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    mDescriptor = descriptor;
}

void Socket::LogInfo(const std::string& text) const {
    mHandler.Log().Report(this, text, 0, "", StdLog::Level::Info);
}

void Socket::LogWarning(const std::string& text) const {
    mHandler.Log().Report(this, text, 0, "", StdLog::Level::Warning);
}

void Socket::LogError(const std::string& call, int code) const {
    mHandler.Log().Report(this, call, code, code == 0 ? "" : std::strerror(code), StdLog::Level::Error);
}

void Socket::LogFatal(const std::string& call, int code) const {
    mHandler.Log().Report(this, call, code, code == 0 ? "" : std::strerror(code), StdLog::Level::Fatal);
}
