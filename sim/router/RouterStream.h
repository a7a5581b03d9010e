#pragma once

#include <array>
#include <boost/asio/io_service.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "MessageReader.h"

namespace sim {

/// What a command stream tells its owner, from its service's thread.
struct StreamEvents {
    std::function<void()> mOnConnected;
    MessageReader::Sink mOnMessage;

    /// It couldn't be had, or it is lost; the last event.
    std::function<void()> mOnEnd;
};

/// One command stream to the box, from the dialling to its end. It keeps itself and its buffers alive by the
/// operations that it waits for, so the owner may let go of it at any time, with Close(). On its service's
/// thread.
class RouterStream : public std::enable_shared_from_this<RouterStream> {
  public:
    using Tcp = boost::asio::ip::tcp;

    static constexpr std::size_t kMaxUnsent =
        std::size_t{16} * 1024 * 1024;  ///< bytes that wait for a box to read them

    RouterStream(boost::asio::io_service& service, StreamEvents events, bool reads);
    RouterStream(const RouterStream&) = delete;
    RouterStream& operator=(const RouterStream&) = delete;

    /// Dials, once, and gives up after five seconds. Ends at once where `local` can't be had.
    void Dial(const Tcp::endpoint& local, const Tcp::endpoint& box);

    /// Ends the stream without an event; what hasn't been sent is lost.
    void Close();

    bool IsConnected() const { return mIsConnected; }

    /// Sends what has been handed over before, then these bytes. Throws BadText, and sends nothing, where the
    /// stream isn't connected or too much waits.
    void Send(const std::string& bytes);

    /// Whether to take what the box sends. While it is off, not a byte is taken from the kernel.
    void SetReading(bool on);

  private:
    void OnDialled();
    void WatchForLoss();
    void Await();
    void Read();
    void Write();
    void End();

    Tcp::socket mSocket;
    boost::asio::steady_timer mDialTimer;
    StreamEvents mEvents;
    bool mIsConnected = false;
    bool mIsClosed = false;

    bool mReads;
    bool mIsAwaiting = false;
    std::array<char, 65536> mChunk{};
    MessageReader mReader;

    std::string mSending;  ///< the kernel is taking these
    std::string mWaiting;  ///< their turn is next
};

}  // namespace sim
