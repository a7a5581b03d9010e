#pragma once

#include <atomic>
#include <boost/asio/io_service.hpp>
#include <boost/signals2/connection.hpp>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace cmd {

class ClientConnection;
class CommandLine;

/// The road of log lines to the clients that tail the log. Whichever thread logs leaves its text here; the
/// event loop hands it out. Each client is sent exactly what was logged while it tailed. Owned by
/// RemoteAuditor; a handler that outlives it does nothing. All but `Append` belongs to the event loop's
/// thread.
class LogTail : public std::enable_shared_from_this<LogTail> {
  public:
    static constexpr std::size_t kMaxPending = std::size_t{1} << 20;  ///< bytes on the way to the event loop

    explicit LogTail(CommandLine& commandLine);

    /// Follows the clients that come and go. Once, after construction.
    void Start(CommandLine& commandLine);

    /// Takes a piece of the log. Any thread, also with the log's locks held: it neither logs nor waits for a
    /// client. When the event loop doesn't keep up, so that more than kMaxPending bytes wait, the tailing
    /// clients are dropped.
    void Append(const std::string& text);

    /// Switches a client's tailing on or off and returns the new state.
    bool Tail(const std::shared_ptr<ClientConnection>& connection, bool wanted);

    /// Sends the tailing clients what waits for them.
    void HandOut();

    /// Whether new clients tail from the start.
    void SetTailOnConnect(bool tailOnConnect) { mTailOnConnect = tailOnConnect; }

  private:
    void PostHandOut();

    boost::asio::io_service& mIo;
    boost::signals2::scoped_connection mOnConnected;
    boost::signals2::scoped_connection mOnDisconnected;
    std::vector<std::shared_ptr<ClientConnection>> mTailClients;
    bool mTailOnConnect = false;

    std::atomic<bool> mWanted{false};  ///< somebody tails; spares the lock where nobody does

    std::mutex mMutex;  ///< guards what follows
    std::string mPending;
    bool mOverflowed = false;
    bool mPosted = false;  ///< a handler is on its way
};

}  // namespace cmd
