#include "TcpSocket.h"

#include <sys/select.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "ISocketHandler.h"

namespace {

// Of a disconnect.
constexpr short kReading = 0;
constexpr short kWriting = 1;
constexpr short kNormal = 2;

constexpr std::size_t kKeptCapacity = 0x10000;

bool IsPassing(int code) {
    return code == EAGAIN || code == EWOULDBLOCK || code == EINTR;
}

}  // namespace

TcpSocket::TcpSocket(ISocketHandler& handler, std::size_t inputSize, std::size_t outputSize)
    : StreamSocket(handler), mInput(inputSize), mOutputSize(outputSize) {}

TcpSocket::~TcpSocket() = default;

void TcpSocket::AttachAccepted(int descriptor) {
    Attach(descriptor);
    mState = State::Connected;
    mEvent = Event::Accept;
}

bool TcpSocket::Open(const std::string& host, std::uint16_t port) {
    mRemote = Ipv4Address(host, port);
    mIsClient = true;
    if (!mRemote.IsValid()) {
        LogFatal("connect: failed", EINVAL);
        mState = State::Ended;
        SetCloseAndDelete();
        return false;
    }
    return StartConnect();
}

bool TcpSocket::StartConnect() {
    SetRetryClientConnect(false);
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0 || descriptor >= FD_SETSIZE) {
        const int code = descriptor < 0 ? errno : EMFILE;
        if (descriptor >= 0) {
            Attach(descriptor);
            Socket::Close();
        }
        LogFatal("socket", code);
        FailConnect("connect: failed", code);
        return false;
    }
    {
        const std::lock_guard lock(mOutputMutex);
        Attach(descriptor);
        mState = State::Connecting;
        mLostCode = 0;
    }
    mDeadline = Clock::now() + GetTimes().mConnectTimeout;
    if (::connect(descriptor, mRemote.Data(), mRemote.Size()) != 0 && errno != EINPROGRESS) {
        FailConnect("connect: failed", errno);
        return false;
    }
    return true;
}

void TcpSocket::FinishConnect() {
    int code = 0;
    socklen_t size = sizeof code;
    ::getsockopt(GetSocket(), SOL_SOCKET, SO_ERROR, &code, &size);
    if (code != 0) {
        FailConnect("connect: failed", code);
        return;
    }
    mDeadline = Clock::time_point::max();
    mAttempts = 0;
    mEvent = mWasConnected ? Event::Reconnect : Event::Connect;
    mWasConnected = true;
    const std::lock_guard lock(mOutputMutex);
    mState = State::Connected;
    FlushOutput();
}

void TcpSocket::FailConnect(const std::string& call, int code) {
    ++mAttempts;
    if (MayTryAgain()) {
        LogError(call + ", reconnect pending", code);
        TryLater();
        return;
    }
    LogError(call, code);
    {
        const std::lock_guard lock(mOutputMutex);
        mState = State::Ended;
    }
    mDeadline = Clock::time_point::max();
    OnConnectFailed();
    SetCloseAndDelete();
}

bool TcpSocket::MayTryAgain() const {
    return Reconnect() || ConnectionRetry() < 0 || mAttempts <= ConnectionRetry();
}

void TcpSocket::TryLater() {
    {
        const std::lock_guard lock(mOutputMutex);
        Socket::Close();
        mState = State::AwaitingRetry;
    }
    mInput.Clear();
    SetRetryClientConnect(true);
    mDeadline = Clock::now() + GetTimes().mRetryInterval;
}

bool TcpSocket::TakeCallOnConnect() {
    return mEvent != Event::None;
}

void TcpSocket::CallOnConnect() {
    switch (std::exchange(mEvent, Event::None)) {
        case Event::Accept:
            OnAccept();
            break;
        case Event::Connect:
            OnConnect();
            break;
        case Event::Reconnect:
            OnReconnect();
            break;
        case Event::None:
            break;
    }
}

Socket::Clock::time_point TcpSocket::NextDeadline() const {
    if (CloseAndDelete()) {
        return TimeOfClosing() + GetTimes().mFlushLimit;
    }
    if (mLostCode != 0 && mState == State::Connected) {
        return {};  // long past
    }
    return mDeadline;
}

void TcpSocket::OnDeadline(Clock::time_point /*now*/) {
    if (CloseAndDelete()) {
        return;
    }
    if (mState == State::AwaitingRetry) {
        StartConnect();
    } else if (mState == State::Connecting) {
        FailConnect("connect timeout", ETIMEDOUT);
    } else if (mState == State::Connected && mLostCode != 0) {
        LoseConnection(kWriting, mLostCode);
    }
}

bool TcpSocket::WantsRead() const {
    return mState == State::Connected && !IsReadPaused() && mInput.GetFree() > 0 && mEvent == Event::None;
}

bool TcpSocket::WantsWrite() const {
    return mState == State::Connecting || (mState == State::Connected && HasOutput());
}

bool TcpSocket::HasOutput() const {
    const std::lock_guard lock(mOutputMutex);
    return mOutput.size() > mOutputSent;
}

void TcpSocket::OnRead() {
    if (mState != State::Connected || mEvent != Event::None) {
        return;
    }
    std::size_t room = 0;
    char* const space = mInput.FreeSpace(room);
    if (room == 0) {
        return;
    }
    const ssize_t size = ::recv(GetSocket(), space, room, 0);
    if (size > 0) {
        mInput.Fill(static_cast<std::size_t>(size));
    } else if (size == 0) {
        LoseConnection(kReading | kNormal, 0);
    } else if (!IsPassing(errno)) {
        const int code = errno;
        LogError("abnormal value from recv", code);
        LoseConnection(kReading, code);
    }
}

void TcpSocket::OnWrite() {
    if (mState == State::Connecting) {
        FinishConnect();
        return;
    }
    const std::lock_guard lock(mOutputMutex);
    FlushOutput();
}

void TcpSocket::LoseConnection(short info, int code) {
    {
        const std::lock_guard lock(mOutputMutex);
        mState = State::Ended;
        mLostCode = 0;
        DropOutput();
    }
    OnDisconnect(info, code);
    OnDisconnect();
    if (mIsClient && Reconnect() && !CloseAndDelete()) {
        TryLater();
    } else {
        SetCloseAndDelete();
    }
}

void TcpSocket::SendBuf(const void* data, std::size_t size, int flags) {
    const std::lock_guard lock(mOutputMutex);
    if (mState == State::Idle || mState == State::Ended || mLostCode != 0 || CloseAndDelete()) {
        LogWarning("Attempt to write to a non-ready socket");
        return;
    }
    const char* bytes = static_cast<const char*>(data);
    if (mState != State::Connected) {
        LogWarning("Attempt to write to a non-connected socket, will be sent on connect");
    } else if (mOutput.size() == mOutputSent) {
        const ssize_t sent = ::send(GetSocket(), bytes, size, flags | MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && !IsPassing(errno)) {
            GiveUp(errno);
            return;
        }
        if (sent < 0) {
            LogInfo("### SOCKET WOULD BLOCK\n### ");
        }
        const auto taken = static_cast<std::size_t>(std::max<ssize_t>(sent, 0));
        bytes += taken;
        size -= taken;
    }
    if (size == 0) {
        return;
    }
    if (mOutput.size() - mOutputSent + size > mOutputSize) {
        LogError("output buffer overflow", ENOBUFS);
        GiveUp(ENOBUFS);
        return;
    }
    mOutput.insert(mOutput.end(), bytes, bytes + size);
    Handler().Wake();
}

/// The loop ends the connection, without what is still to be sent.
void TcpSocket::GiveUp(int code) {
    DropOutput();
    mLostCode = code;
    Handler().Wake();
}

void TcpSocket::FlushOutput() {
    while (mOutput.size() > mOutputSent) {
        const ssize_t sent = ::send(GetSocket(), mOutput.data() + mOutputSent, mOutput.size() - mOutputSent,
                                    MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) {
            if (!IsPassing(errno)) {
                GiveUp(errno);
            }
            return;
        }
        mOutputSent += static_cast<std::size_t>(sent);
        if (mOutputSent > mOutputSize / 2) {
            mOutput.erase(mOutput.begin(), mOutput.begin() + static_cast<std::ptrdiff_t>(mOutputSent));
            mOutputSent = 0;
        }
    }
    DropOutput();
}

void TcpSocket::DropOutput() {
    // A burst's memory goes with it; what everyday sends need stays.
    if (mOutput.capacity() > kKeptCapacity) {
        std::vector<char>().swap(mOutput);
    }
    mOutput.clear();
    mOutputSent = 0;
}

bool TcpSocket::HasToFlush(Clock::time_point now) {
    if (!FlushBeforeClose() || mState != State::Connected || !HasOutput() || now >= NextDeadline()) {
        return false;
    }
    if (!std::exchange(mSaidFlushing, true)) {
        LogInfo("Sending all data before closing");
    }
    return true;
}

void TcpSocket::Close() {
    const std::lock_guard lock(mOutputMutex);
    if (mState == State::Connected) {
        LogInfo("graceful shutdown");
        ::shutdown(GetSocket(), SHUT_RDWR);
    }
    mState = State::Ended;
    DropOutput();
    Socket::Close();
}
