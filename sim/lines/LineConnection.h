#pragma once

#include <array>
#include <boost/asio/io_service.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "BenchRequests.h"

namespace sim {

class Board;
class EventLoopLink;

/// One client of the bench port: reads lines, replies to each in order. It reads on only when its replies
/// have been taken, so a client that sends and never reads costs a bounded memory and nobody else's time.
/// Keeps itself alive by the operation that it waits for, and goes when the client does. The bench port's
/// thread.
class BenchConnection : public std::enable_shared_from_this<BenchConnection> {
  public:
    static constexpr std::size_t kMaxLine =
        65536;  ///< bytes before the line's end; a longer one ends the connection

    /// `atEnd` is called from the destructor.
    BenchConnection(boost::asio::io_service& service, boost::asio::ip::tcp::socket socket, Board& board,
                    EventLoopLink& loop, std::function<void()> atEnd);
    ~BenchConnection();
    BenchConnection(const BenchConnection&) = delete;
    BenchConnection& operator=(const BenchConnection&) = delete;

    void Start() { ReadMore(); }

  private:
    void GoOn();
    void HandleLines();
    void HandleLine(std::string line);
    void ReadMore();
    void WriteOutput();
    void WaitForIdle(std::chrono::milliseconds limit);
    void Refuse();
    void Drain();
    void DiscardInput();

    boost::asio::io_service& mService;
    boost::asio::ip::tcp::socket mSocket;
    Board& mBoard;
    EventLoopLink& mLoop;
    const std::function<void()> mAtEnd;
    BenchRequests mRequests;
    boost::asio::steady_timer mDrainTimer;

    std::array<char, 4096> mChunk{};
    std::string mInput;        ///< received, not handled
    std::size_t mScanned = 0;  ///< how far mInput is known to hold no line's end
    std::string mOutput;       ///< replies not written yet
    std::optional<std::chrono::milliseconds>
        mWait;  ///< asked for by the last line; begins when mOutput is out
    bool mIsEnding = false;
};

}  // namespace sim
