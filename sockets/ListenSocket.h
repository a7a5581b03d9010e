#pragma once

#include <sys/socket.h>
#include <sys/types.h>

#include <cstdint>
#include <memory>

#include "ISocketHandler.h"
#include "Socket.h"

/// What a listener does whatever it makes of its connections.
class ListenSocketBase : public Socket {
  public:
    explicit ListenSocketBase(ISocketHandler& handler) : Socket(handler) {}

    /// Listens on this port of every address: 0 on success, else -1 with a log entry. Port 0 takes a free
    /// one.
    int Bind(std::uint16_t port, int backlog);

    /// The port it listens on.
    std::uint16_t Port() const;

    /// Accepts one connection. Without descriptors left it rests for a tenth of a second.
    void OnRead() override;

    Clock::time_point NextDeadline() const override;
    void OnDeadline(Clock::time_point now) override;

  protected:
    /// Takes an accepted descriptor, which is open and fits `select`.
    virtual void Take(int descriptor) = 0;

  private:
    Clock::time_point mRestsUntil = Clock::time_point::max();
};

/// Listens, and makes a `Stream` (a TcpSocket built from the handler alone) of each connection. The handler
/// owns the streams.
template <class Stream>
class ListenSocket : public ListenSocketBase {
  public:
    using ListenSocketBase::ListenSocketBase;

  protected:
    void Take(int descriptor) override {
        auto stream = std::make_unique<Stream>(Handler());
        stream->AttachAccepted(descriptor);
        stream->SetDeleteByHandler();
        Handler().Add(stream.release());
    }
};
