// A stream's connection: how it comes and goes, and who is at the other end.

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "Audit.h"
#include "EventTimerManager.h"
#include "KLVTCPStream.h"
#include "Utility.h"

namespace {

constexpr std::uint32_t kOctet = 0xFF;

/// The end of a router's address; the box's own ends in the number of the link.
constexpr std::uint32_t kRouterOctet = 254;
constexpr unsigned kThirdOctetShift = 8;
constexpr std::uint32_t kRackMask = 0x1F;

/// What a rack id's first value says of the peer, and how the id follows from it.
struct PeerKind {
    std::uint8_t mFirst;
    std::uint8_t mLast;
    const char* mText;
    std::uint8_t mLess;
};

constexpr PeerKind kPeerKinds[] = {
    {16, 47, "Primary expander: ", 16},
    {48, 63, "Secondary router: ", 32},
    {64, 79, "Secondary expander: ", 48},
    {0, 255, "Primary router: ", 0},
};

constexpr int kTcpIpHeaders = 40;
constexpr int kFallbackMtu = 100;

}  // namespace

bool KLVTCPStream::IsAccepted() const {
    AUDIT_ASSERT(mConnected);
    return mAccepted;
}

void KLVTCPStream::OnAccept() {
    mConnected = true;
    mAccepted = true;
    ReadPeerInfo();
    LogPeer("OnAccept");
}

void KLVTCPStream::OnConnect() {
    mConnected = true;
    ReadPeerInfo();
    LogPeer("OnConnect");
}

void KLVTCPStream::OnReconnect() {
    mConnected = true;
    // The rest of a message that the old connection cut off never comes.
    mReadState = ReadState::WaitingForHeader;
    ReadPeerInfo();
    LogPeer("OnReconnect");
}

void KLVTCPStream::OnDisconnect() {
    TcpSocket::OnDisconnect();
    mConnected = false;
    AUDIT(Feature::CommsDebug, "*** KLVTCPStream::OnDisconnect %p ***\r\n", static_cast<void*>(this));
}

void KLVTCPStream::OnDisconnect(short info, int code) {
    constexpr short kWriting = 1;
    constexpr short kNormal = 2;
    AUDIT(Feature::CommsDebug, "Disconnect %s%s: [%d] %s\r\n", (info & kWriting) != 0 ? "write " : "read ",
          (info & kNormal) != 0 ? "normal " : "error ", code, std::strerror(code));
}

void KLVTCPStream::OnDelete() {
    mConnected = false;
    mShuttingDown = false;
    mDeleted = true;
    AUDIT(Feature::CommsDebug, "*** KLVTCPStream::OnDelete %p ***\r\n", static_cast<void*>(this));
}

void KLVTCPStream::ShutdownStreamViaHandler() {
    AUDIT(Feature::CommsDebug, "*** KLVTCPStream::ShutdownStreamViaHandler %p ***\r\n",
          static_cast<void*>(this));
    SetConnectionRetry(0);
    SetRetryClientConnect(false);
    SetReconnect(false);
    mShuttingDown = true;
    SetCloseAndDelete();
}

std::uint8_t KLVTCPStream::RackIdOf(std::uint32_t localIp, std::uint32_t remoteIp) {
    if ((localIp & kOctet) == kRouterOctet) {
        return static_cast<std::uint8_t>(remoteIp >> kThirdOctetShift & kRackMask);
    }
    return static_cast<std::uint8_t>((localIp & kOctet) - 1);
}

void KLVTCPStream::ReadPeerInfo() {
    ReadLocalEnd();
    ReadRemoteEnd();
    mLoopback = mLocalIp == mRemoteIp;
    ClassifyPeer();
    if (mCoalesceTimer != nullptr && mCoalesceState == CoalesceState::Mtu) {
        AdoptPathMtu();
    }
}

void KLVTCPStream::ReadLocalEnd() {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (getsockname(GetSocket(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        const int code = errno;
        AUDIT(Feature::Fault, "KLVTCPStream FAILED TO GET LOCAL PORT (Errno=%d:%s)\r\n", code,
              std::strerror(code));
        return;
    }
    mLocalPort = ntohs(address.sin_port);
    mLocalIp = ntohl(address.sin_addr.s_addr);
}

void KLVTCPStream::ReadRemoteEnd() {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (getpeername(GetSocket(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        const int code = errno;
        AUDIT(Feature::Fault, "KLVTCPStream FAILED TO GET REMOTE PORT (Errno=%d:%s)\r\n", code,
              std::strerror(code));
        return;
    }
    mRemotePort = ntohs(address.sin_port);
    mRemoteIp = ntohl(address.sin_addr.s_addr);
}

void KLVTCPStream::ClassifyPeer() {
    const std::uint8_t first = RackIdOf(mLocalIp, mRemoteIp);
    const auto* const kind =
        std::find_if(std::begin(kPeerKinds), std::end(kPeerKinds),
                     [first](const PeerKind& row) { return first >= row.mFirst && first <= row.mLast; });
    mRemoteRackId = static_cast<std::uint8_t>(first - kind->mLess);
    AUDIT(Feature::CommsDebug, "%s%d %s\r\n", kind->mText, int{mRemoteRackId},
          Utility::DottedIp(mRemoteIp).c_str());
}

/// From here on a full buffer is one segment.
void KLVTCPStream::AdoptPathMtu() {
    int mtu = 0;
    socklen_t size = sizeof mtu;
    if (getsockopt(GetSocket(), IPPROTO_IP, IP_MTU, &mtu, &size) != 0) {
        const int code = errno;
        AUDIT(Feature::Fault, "setsockopt(IPPROTO_IP, IP_MTU):%d %s\r\n", code, std::strerror(code));
        mtu = kFallbackMtu;
    }
    const std::size_t segment = static_cast<std::size_t>(std::max(mtu, kFallbackMtu) - kTcpIpHeaders);
    AUDIT(Feature::CommsDebug, "Mtu=%zu, Mss=%zu\r\n", static_cast<std::size_t>(mtu), segment);
    SetCoalesce(mCoalesceTimer->PeriodMs(), segment);
}

void KLVTCPStream::LogPeer(const char* event) {
    AUDIT(Feature::CommsDebug,
          "*** KLVTCPStream::%s RemoteIP %sLocal %dLocal Port %u Remote Port %u this %p ***\r\n", event,
          Utility::DottedIp(mRemoteIp).c_str(), int{mRemoteRackId}, unsigned{mLocalPort},
          unsigned{mRemotePort}, static_cast<void*>(this));
}
