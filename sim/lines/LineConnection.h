#pragma once

#include <array>
#include <boost/asio/io_service.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace sim {

/// The answer to a request: its reply line, without the line's end, or what finds the reply out and hands it
/// on later, by the connection's service.
struct LineAnswer {
    using Done = std::function<void(const std::string& reply)>;

    std::string mReply;
    std::function<void(Done done)> mLater;  ///< empty where the reply is known
};

/// Takes a request, without the line's end. On the connection's service.
using LineHandler = std::function<LineAnswer(const std::string& line)>;

/// One client of a port that speaks lines: reads lines, replies to each in order. It reads on only when its
/// replies have been taken, so a client that sends and never reads costs a bounded memory and nobody else's
/// time. Keeps itself alive by the operation that it waits for, and goes when the client does. On its
/// service's thread.
class LineConnection : public std::enable_shared_from_this<LineConnection> {
  public:
    static constexpr std::size_t kMaxLine =
        65536;  ///< bytes before the line's end, where nothing else is said

    /// A line of more than `maxLine` bytes ends the connection. `atEnd` is called from the destructor.
    LineConnection(boost::asio::io_service& service, boost::asio::ip::tcp::socket socket, std::size_t maxLine,
                   LineHandler handler, std::function<void()> atEnd);
    ~LineConnection();
    LineConnection(const LineConnection&) = delete;
    LineConnection& operator=(const LineConnection&) = delete;

    void Start() { ReadMore(); }

  private:
    void GoOn();
    void HandleLines();
    void HandleLine(std::string line);
    void ReadMore();
    void WriteOutput();
    void AwaitReply();
    void Refuse();
    void Drain();
    void DiscardInput();

    boost::asio::ip::tcp::socket mSocket;
    const std::size_t mMaxLine;
    const LineHandler mHandler;
    const std::function<void()> mAtEnd;
    boost::asio::steady_timer mDrainTimer;

    std::array<char, 4096> mChunk{};
    std::string mInput;                            ///< received, not handled
    std::size_t mScanned = 0;                      ///< how far mInput is known to hold no line's end
    std::string mOutput;                           ///< replies not written yet
    std::function<void(LineAnswer::Done)> mLater;  ///< the last line's answer; begins when mOutput is out
    bool mIsEnding = false;
};

}  // namespace sim
