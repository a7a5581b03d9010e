#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

class ISocketHandler;

/// A descriptor and what its handler's loop does with it.
///
/// A handler's thread makes every `On...` call, opens and closes the descriptor, and deletes the socket where
/// `DeleteByHandler` asks for it; otherwise the owner deletes it, once the handler holds it no longer. What
/// may be called on other threads says so.
class Socket {
  public:
    using Clock = std::chrono::steady_clock;

    /// The handler outlives the socket. It isn't told: `Add` does that.
    explicit Socket(ISocketHandler& handler);

    /// Closes the descriptor. Logs an error where the handler still holds the socket.
    virtual ~Socket();
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    ISocketHandler& Handler() const { return mHandler; }

    /// The descriptor, -1 when there is none.
    int GetSocket() const { return mDescriptor.load(std::memory_order_relaxed); }

    // Flags. Any thread; the loop takes notice at once.

    /// The handler deletes the socket after it has closed it.
    void SetDeleteByHandler(bool on = true) { mDeleteByHandler = on; }
    bool DeleteByHandler() const { return mDeleteByHandler; }

    /// Asks the handler to close the socket, after what is still to be sent where the socket flushes. Setting
    /// it records the time. It can't be taken back.
    void SetCloseAndDelete();
    bool CloseAndDelete() const { return mCloseAndDelete; }
    Clock::time_point TimeOfClosing() const;

    /// How often a failed connection attempt is made again: -1 for ever.
    void SetConnectionRetry(int count) { mConnectionRetry = count; }
    int ConnectionRetry() const { return mConnectionRetry; }

    /// A client that loses its connection opens it anew.
    void SetReconnect(bool on) { mReconnect = on; }
    bool Reconnect() const { return mReconnect; }

    /// A connection attempt is to be made again, when its time has come.
    void SetRetryClientConnect(bool on) { mRetryClientConnect = on; }
    bool RetryClientConnect() const { return mRetryClientConnect; }

    /// Reading pauses: the loop leaves the input where it is. When it goes on, `OnRead` is called even if
    /// nothing new has come.
    void SetReadPaused(bool on);
    bool IsReadPaused() const { return mReadPaused; }

    // Options: false, and a log entry, where the system refuses.

    bool SetSoReuseaddr(bool on = true);
    bool SetSoLinger(bool on, int seconds);
    bool SetTcpNodelay(bool on = true);

    // Events.

    virtual void OnRead() {}
    virtual void OnWrite() {}
    virtual void OnException();  ///< logs "exception on select" and closes
    virtual void OnDelete() {}
    virtual void OnConnect() {}
    virtual void OnAccept() {}

    /// After a connection attempt has failed and no retry is left.
    virtual void OnConnectFailed() {}
    virtual void OnReconnect() {}
    virtual void OnDisconnect() {}

    /// `info`: bit 0 while writing, else reading; bit 1 set for an orderly end, else an error. `code` is the
    /// errno.
    virtual void OnDisconnect(short info, int code);

    // The loop's questions. Handler's thread.

    virtual bool WantsRead() const { return !mReadPaused; }
    virtual bool WantsWrite() const { return false; }

    /// True once when OnAccept, OnConnect or OnReconnect is to be called.
    virtual bool TakeCallOnConnect() { return false; }

    /// Calls the one that is due.
    virtual void CallOnConnect() {}

    /// Whether output is left that is to go before the socket closes, and still may.
    virtual bool HasToFlush(Clock::time_point /*now*/) { return false; }

    /// When the loop is to look at it again though nothing has come; Clock::time_point::max() for never.
    virtual Clock::time_point NextDeadline() const;

    /// Does what `NextDeadline` was for: connection time-outs and retries.
    virtual void OnDeadline(Clock::time_point now);

    /// Closes the descriptor, in good order where the kind of socket has one.
    virtual void Close();

    /// True once after reading has been resumed.
    bool TakeReadAgain() { return mReadAgain.exchange(false); }

  protected:
    /// Takes a descriptor in place of the one before, which is closed. It is made non-blocking and isn't
    /// inherited by child processes.
    void Attach(int descriptor);

    void LogInfo(const std::string& text) const;
    void LogWarning(const std::string& text) const;
    void LogError(const std::string& call, int code) const;
    void LogFatal(const std::string& call, int code) const;

  private:
    bool SetOption(int level, int option, const void* value, unsigned size, const char* text) const;

    ISocketHandler& mHandler;
    std::atomic<int> mDescriptor{-1};
    std::atomic<bool> mDeleteByHandler{false};
    std::atomic<bool> mCloseAndDelete{false};
    std::atomic<Clock::rep> mTimeOfClosing{0};
    std::atomic<int> mConnectionRetry{0};
    std::atomic<bool> mReconnect{false};
    std::atomic<bool> mRetryClientConnect{false};
    std::atomic<bool> mReadPaused{false};
    std::atomic<bool> mReadAgain{false};
};
