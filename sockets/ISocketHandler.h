#pragma once

class Socket;
class StdLog;

/// What a socket needs of the loop that serves it.
class ISocketHandler {
  public:
    ISocketHandler() = default;
    ISocketHandler(const ISocketHandler&) = delete;
    ISocketHandler& operator=(const ISocketHandler&) = delete;
    virtual ~ISocketHandler() = default;

    /// Takes the socket into the loop at its next pass; it stays until it is closed. Any thread. A null or a
    /// socket that is queued already is a logged warning.
    virtual void Add(Socket* socket) = 0;

    /// One pass: waits this long at most for something to do, and does it. The handler's own thread.
    virtual int Select(long seconds, long microseconds) = 0;

    /// Ends the wait of the pass that is under way, or of the next one: a socket's flags or output have
    /// changed. Any thread.
    virtual void Wake() = 0;

    /// Whether the loop or its add queue holds the socket. Any thread.
    virtual bool Holds(const Socket* socket) const = 0;

    /// Has the loop hold the socket no longer, at once; whether it did. Only by the socket's destructor.
    virtual bool Forget(const Socket* socket) = 0;

    /// Where sockets report; never null. Any thread.
    virtual StdLog& Log() = 0;
};
