#include "TalvoRouterComms.h"

#include <arpa/inet.h>

#include <chrono>
#include <utility>

#include "Audit.h"
#include "Utility.h"

namespace {

/// How long the primary link has to come up before the secondary is taken.
constexpr std::chrono::seconds kPrimaryGrace{5};

}  // namespace

TalvoRouterComms::TalvoRouterComms(boost::asio::io_service& service, Getter getStatus, Getter getHid,
                                   std::uint32_t deviceType, const RouterPorts& ports)
    : mService(service),
      mGetHid(getHid),
      mActivePortChanged(std::make_shared<ActivePortSignal>()),
      mSecondaryTimer(service),
      mProcessor(service),
      mComms(service, mProcessor, kRouterLinks, ports),
      mLinkManager(service, std::move(getStatus), std::move(getHid), deviceType, ports),
      mConnections{
          mProcessor.Register<IoActiveRouter>(
              IoActiveRouter::kId,
              [this](const auto&, unsigned char port, StreamType) { ReceiveIoActiveRouterCmd(port); }),
          mProcessor.Register<IoSyncSwap>(
              IoSyncSwap::kId,
              [this](const auto&, unsigned char port, StreamType) { ReceiveIoSyncSwapCmd(port); }),
          mProcessor.Register<IoSyncFail>(
              IoSyncFail::kId,
              [this](const auto&, unsigned char port, StreamType) { ReceiveIoSyncFailCmd(port); }),
          mLinkManager.Changed().connect(
              [this](unsigned char port, unsigned long /*localIp*/, unsigned char remoteType,
                     unsigned long remoteIp,
                     unsigned long /*remoteHid*/) { OnHeartbeatChange(port, remoteType, remoteIp); }),
          mComms.StreamChanged().connect([this](unsigned char port, StreamType type, bool connected) {
              OnStreamChange(port, type, connected);
          })} {}

TalvoRouterComms::~TalvoRouterComms() = default;

bool TalvoRouterComms::Send(const DeskCommand& command, unsigned port) {
    if (port == kActivePort) {
        port = static_cast<unsigned>(GetActivePort());
    }
    return port != static_cast<unsigned>(kNoLink) && mComms.SendCmdToPort(command, port);
}

bool TalvoRouterComms::IsRouterActive(unsigned port) const {
    return port < kRouterLinks && mActiveLink.IsRouterActive(static_cast<int>(port));
}

boost::signals2::connection TalvoRouterComms::SubscribeActivePort(const ActivePortSignal::slot_type& slot) {
    return mActivePortChanged->connect(slot);
}

void TalvoRouterComms::ReceiveIoActiveRouterCmd(unsigned char port) {
    if (port >= kRouterLinks) {
        AUDIT(Feature::Fault, "TalvoRouterComms::ReceiveIoActiveRouterCmd Invalid port number: %u\n",
              unsigned{port});
        return;
    }
    const ActiveLink::Outcome outcome = mActiveLink.OnClaim(port);
    if (!outcome.mIsSet) {
        AUDIT(Feature::Information, "TalvoRouterComms::ReceiveIoActiveRouterCmd %d already active\n",
              GetActivePort());
        return;
    }
    Carry(outcome);
    AUDIT(Feature::Information, "Active T2 Port set to %d\n", int{port});
}

void TalvoRouterComms::ReceiveIoSyncSwapCmd(unsigned char port) {
    const ActiveLink::Outcome outcome = mActiveLink.OnSwap(port);
    AUDIT(Feature::Information, "ReceiveIoSyncSwapCmd From Port%u\n", unsigned{port});
    Carry(outcome);
}

void TalvoRouterComms::ReceiveIoSyncFailCmd(unsigned char port) {
    AUDIT(Feature::Information, "ReceiveIoSyncFailCmd From Port%u\n", unsigned{port});
    const ActiveLink::Outcome outcome = mActiveLink.OnFail(port, IsOtherUp(port));
    if (outcome.mIsSet && GetActivePort() == kNoLink) {
        AUDIT(Feature::Information, "Resetting\r\n");
    }
    Carry(outcome);
}

void TalvoRouterComms::OnHeartbeatChange(unsigned char port, unsigned char remoteType,
                                         unsigned long remoteIp) {
    if (remoteIp == 0) {
        mComms.Disconnect(port, StreamType::Local);
        Carry(mActiveLink.OnLost(port, IsOtherUp(port)));
    } else {
        mActiveLink.OnFound(port, remoteType);
    }
    AUDIT(Feature::Information, "Heartbeat change for remote IP %s: Active T2 Port set to %d\n",
          Utility::DottedIp(ntohl(static_cast<std::uint32_t>(remoteIp))).c_str(), GetActivePort());
}

void TalvoRouterComms::OnStreamChange(unsigned char port, StreamType type, bool connected) {
    if (type == StreamType::Master || !connected || GetActivePort() != kNoLink) {
        return;
    }
    if (port == 0) {
        Carry(mActiveLink.OnStream(port));
        AUDIT(Feature::Information, "New KLV stream on primary port, switching to it\n");
    } else if (port == 1) {
        AUDIT(Feature::Information, "New KLV stream on secondary port, waiting 5s...\n");
        AwaitPrimary();
    }
}

void TalvoRouterComms::AwaitPrimary() {
    mSecondaryTimer.expires_after(kPrimaryGrace);
    mSecondaryTimer.async_wait([weak = weak_from_this()](const boost::system::error_code&) {
        if (const auto self = weak.lock()) {
            self->OnSecondaryTimer();
        }
    });
}

/// Whether the time is up or another wait has taken its place, no active link is no active link.
void TalvoRouterComms::OnSecondaryTimer() {
    constexpr int kSecondary = 1;
    const ActiveLink::Outcome outcome = mActiveLink.OnStream(kSecondary);
    if (!outcome.mIsSet) {
        return;
    }
    Carry(outcome);
    AUDIT(Feature::Information, "New KLV stream on secondary port, switching to it\n");
}

bool TalvoRouterComms::IsOtherUp(unsigned char port) const {
    return mLinkManager.IsHeartbeatSeen(1U - port);
}

/// Tells the application of a decision, and the router where it is to know.
void TalvoRouterComms::Carry(const ActiveLink::Outcome& outcome) {
    if (!outcome.mIsSet) {
        return;
    }
    const int active = GetActivePort();
    boost::asio::post(
        mService, [signal = mActivePortChanged, active] { (*signal)(static_cast<unsigned char>(active)); });
    if (outcome.mIsAnnounced) {
        IoActiveAudio report;
        report.mHid = static_cast<std::uint32_t>(mGetHid());
        report.mPort = static_cast<std::uint16_t>(active);
        SendAsync(std::move(report), kActivePort);
    }
}
