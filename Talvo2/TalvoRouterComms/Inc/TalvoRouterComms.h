#pragma once

#include <array>
#include <atomic>
#include <boost/asio/deadline_timer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/signals2/connection.hpp>
#include <boost/signals2/signal.hpp>
#include <cstdint>
#include <functional>
#include <memory>

#include "ActiveLink.h"
#include "DeskCommands.h"
#include "RouterPorts.h"
#include "TalvoCommandProcessor.h"
#include "TalvoKLVComms.h"
#include "TalvoRouterLinkManager.h"

/// Ties the command links and the heartbeats of both routers into one decision, which link is active, and
/// gives the application one call to send by. Owned by a shared pointer; on the event loop but for what says
/// otherwise.
class TalvoRouterComms : public std::enable_shared_from_this<TalvoRouterComms> {
  public:
    using Getter = std::function<unsigned long()>;

    /// The new active link. Fires on the event loop.
    using ActivePortSignal = boost::signals2::signal<void(unsigned char)>;
    using StreamType = iRouterKLVComms::StreamType;

    /// In place of a link: the active one.
    static constexpr unsigned kActivePort = 255;

    /// Starts to listen and to scan. `getStatus`, `getHid` (called on any thread) and `deviceType` are for
    /// the heartbeats. Throws TalvoSocketException where a port can't be bound.
    TalvoRouterComms(boost::asio::io_service& service, Getter getStatus, Getter getHid,
                     std::uint32_t deviceType, const RouterPorts& ports = {});
    ~TalvoRouterComms();
    TalvoRouterComms(const TalvoRouterComms&) = delete;
    TalvoRouterComms& operator=(const TalvoRouterComms&) = delete;

    /// Sends to the router on link `port`, or on the active one; false where it can't go. Any thread.
    bool Send(const DeskCommand& command, unsigned port);

    /// Sends a copy of the command from the event loop. Any thread.
    template <class Command>
    void SendAsync(Command command, unsigned port);

    /// The active link, kNoLink for none. Any thread.
    int GetActivePort() const { return mActiveLink.Get(); }

    /// Whether the router on a link wants the box. Any thread.
    bool IsRouterActive(unsigned port) const;

    boost::signals2::connection SubscribeActivePort(const ActivePortSignal::slot_type& slot);

    TalvoCommandProcessor& Processor() { return mProcessor; }
    TalvoRouterLinkManager& LinkManager() { return mLinkManager; }
    TalvoKLVComms& Comms() { return mComms; }

    /// Raised while the controller changes the sample rate. Any thread.
    void SetSampleRateChanging(bool on) { mSampleRateChanging = on ? 1 : 0; }

  private:
    void ReceiveIoActiveRouterCmd(unsigned char port);
    void ReceiveIoSyncSwapCmd(unsigned char port);
    void ReceiveIoSyncFailCmd(unsigned char port);
    void OnHeartbeatChange(unsigned char port, unsigned char remoteType, unsigned long remoteIp);
    void OnStreamChange(unsigned char port, StreamType type, bool connected);
    void AwaitPrimary();
    void OnSecondaryTimer();

    bool IsOtherUp(unsigned char port) const;
    void Carry(const ActiveLink::Outcome& outcome);

    boost::asio::io_service& mService;
    const Getter mGetHid;
    std::shared_ptr<ActivePortSignal> mActivePortChanged;
    ActiveLink mActiveLink;
    std::atomic<std::uint8_t> mSampleRateChanging{0};
    boost::asio::steady_timer mSecondaryTimer;
    TalvoCommandProcessor mProcessor;
    TalvoKLVComms mComms;
    TalvoRouterLinkManager mLinkManager;
    std::array<boost::signals2::scoped_connection, 5> mConnections;
};

template <class Command>
void TalvoRouterComms::SendAsync(Command command, unsigned port) {
    boost::asio::post(mService, [weak = weak_from_this(), command = std::move(command), port] {
        if (const auto self = weak.lock()) {
            self->Send(command, port);
        }
    });
}
