#pragma once

#include <atomic>
#include <memory>

#include "CommandBacklog.h"
#include "KLVTCPStream.h"

class TalvoKLVSocketHandler;

/// One command link: joins the table of its comms when it comes up, leaves it at its end, and hands commands
/// to the dispatcher. The socket thread's.
class TalvoKLVStream : public KLVTCPStream {
  public:
    /// More sockets than these are not served: the newest is turned away.
    static constexpr std::size_t kMaxSockets = 128;

    /// With more bytes of commands than these waiting for the event loop, no new stream is served.
    static constexpr std::size_t kMaxWaitingBytes = 0x4000000;

    /// `handler` is a TalvoKLVSocketHandler.
    explicit TalvoKLVStream(ISocketHandler& handler);
    ~TalvoKLVStream() override;

    /// Closing drops the connection at once, without lingering. Before it is connected.
    void DropAtClose() { mDropsAtClose = true; }

    void OnAccept() override;
    void OnConnect() override;
    void OnReconnect() override;
    using KLVTCPStream::OnDisconnect;
    void OnDisconnect() override;
    void OnDelete() override;

  protected:
    int ProcessKey(std::uint32_t keyType) override { return ProcessKey(keyType, *this); }
    int ProcessKey(std::uint32_t keyType, DataStream& stream) override;

  private:
    const char* WhyTurnedAway() const;
    void Join(const char* event);

    TalvoKLVSocketHandler* mHandler;
    std::shared_ptr<CommandBacklog> mBacklog;
    bool mDropsAtClose = false;
};
