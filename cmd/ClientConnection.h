#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/streambuf.hpp>
#include <boost/system/error_code.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace cmd {

/// One client of the remote shell: reads lines, and sends text in the order in which it was given. A pending
/// read or write keeps the connection alive; when the last of them and the last other holder are gone, the
/// socket closes. Used on the event loop alone.
class ClientConnection : public std::enable_shared_from_this<ClientConnection> {
  public:
    /// Called for each line, without its delimiter; and once, with the error and no line, when reading has
    /// ended.
    using Handler = std::function<void(const std::shared_ptr<ClientConnection>& connection,
                                       const boost::system::error_code& error, std::string line)>;

    static constexpr std::size_t kMaxLine = std::size_t{64}
                                            << 10;  ///< bytes of a line; a longer one ends the connection
    static constexpr std::size_t kMaxUnsent = std::size_t{1}
                                              << 20;  ///< bytes; a client with more unsent is dropped

    /// Bytes unsent to all clients of a server; a text that would lead beyond it drops its client, unless
    /// that one has no more than kUnsentWhenFull unsent with it.
    static constexpr std::size_t kMaxUnsentToAll = std::size_t{32} << 20;
    static constexpr std::size_t kUnsentWhenFull = std::size_t{64} << 10;

    /// How long a client that sends no more may go without reading what it has been sent; then it is closed.
    static constexpr std::chrono::seconds kLastRead{5};

    /// `unsentToAll` counts the bytes that wait for the clients of a server, this one's among them.
    ClientConnection(boost::asio::ip::tcp::socket socket, char delimiter,
                     std::shared_ptr<std::size_t> unsentToAll, Handler handler);

    /// Sends the banner and starts to read.
    void Start(const std::string& banner);

    /// Queues text behind what is unsent yet. A failed write is reported on standard error, and no more.
    void Send(std::string_view text);

    /// Closes at once, whatever is unsent. The handler gets an error as for any other end. The first reason
    /// counts.
    void Drop(const char* reason);

    /// Why the connection was dropped by this side; null while it wasn't.
    const char* DropReason() const { return mDropReason; }

    /// The client's address and port, for log lines.
    const std::string& Peer() const { return mPeer; }

    /// Whether replies are to be sent directly. A client that tails the log sees them there instead.
    bool EchoReplies() const { return mEchoReplies; }
    void SetEchoReplies(bool echoReplies) { mEchoReplies = echoReplies; }

  private:
    bool IsFull(std::size_t more) const;
    void StartRead();
    void OnRead(boost::system::error_code error, std::size_t length);
    std::string TakeLine(std::size_t length);
    void StartWrite();
    void OnWritten(const boost::system::error_code& error, std::size_t size);
    void EndReading(const boost::system::error_code& error);
    void LimitWriting();
    void ForgetWaiting();
    void Close();

    boost::asio::ip::tcp::socket mSocket;
    const std::string mPeer;
    const Handler mHandler;
    const char mDelimiter;
    const std::shared_ptr<std::size_t> mUnsentToAll;
    boost::asio::streambuf mInput{kMaxLine + 1};  ///< the longest line and its delimiter
    std::string mWriting;                         ///< in the hands of the write that is under way
    std::size_t mWritten = 0;                     ///< bytes of it that the kernel has taken
    std::string mWaiting;                         ///< goes out with the next write
    boost::asio::steady_timer mLastRead;
    const char* mDropReason = nullptr;
    bool mReadingEnded = false;
    bool mEchoReplies = true;
};

}  // namespace cmd
