#pragma once

#include "Socket.h"

/// What sockets with a connection share: connecting with a time-out and retries, and flushing before closing.
class StreamSocket : public Socket {
  public:
    /// How long things may take.
    struct Times {
        std::chrono::milliseconds mConnectTimeout{5000};
        std::chrono::milliseconds mRetryInterval{5000};  ///< between connection attempts
        std::chrono::milliseconds mFlushLimit{5000};     ///< of flushing before closing
    };

    explicit StreamSocket(ISocketHandler& handler) : Socket(handler) {}

    /// Before the socket is opened or added.
    void SetTimes(const Times& times) { mTimes = times; }
    const Times& GetTimes() const { return mTimes; }

    /// Whether what is left to send goes before the socket closes; on at first. Any thread.
    void SetFlushBeforeClose(bool on) { mFlushBeforeClose = on; }
    bool FlushBeforeClose() const { return mFlushBeforeClose; }

  private:
    Times mTimes;
    std::atomic<bool> mFlushBeforeClose{true};
};
