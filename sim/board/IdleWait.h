#pragma once

#include <boost/asio/io_service.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "EventLoopLink.h"

namespace sim {

class Board;

/// One wait for the application to be idle: the board has nothing for it to do, its event loop has run all
/// that was posted before, and nothing has come meanwhile. It looks again every half millisecond and keeps
/// itself alive until it is done. The bench port's thread.
class IdleWait : public std::enable_shared_from_this<IdleWait> {
  public:
    /// Given "" once the application is idle, else the reason why it isn't: at the end of the time, or at
    /// once where the event loop has ended.
    using Done = std::function<void(const std::string& failure)>;

    IdleWait(boost::asio::io_service& service, const Board& board, EventLoopLink& loop,
             std::chrono::milliseconds limit, Done done);

    /// Starts; `done` is called later, never from here.
    void Start();

  private:
    void LookAgainSoon();
    void Look();
    bool IsIdle();
    void Finish(const std::string& failure);

    const Board& mBoard;
    EventLoopLink& mLoop;
    const std::chrono::milliseconds mLimit;
    const std::chrono::steady_clock::time_point mGivesUpAt;
    Done mDone;
    boost::asio::steady_timer mTimer;
    EventLoopLink::Marker mMarker;  ///< null where the board was last seen busy
    std::uint64_t mEventsAtMarker = 0;
    std::string mBusyWith;
};

}  // namespace sim
