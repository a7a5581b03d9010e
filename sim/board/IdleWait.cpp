#include "IdleWait.h"

#include <utility>

#include "Board.h"

namespace sim {

IdleWait::IdleWait(boost::asio::io_service& service, const Board& board, EventLoopLink& loop,
                   std::chrono::milliseconds limit, Done done)
    : mBoard(board),
      mLoop(loop),
      mLimit(limit),
      mGivesUpAt(Clock::now() + limit),
      mDone(std::move(done)),
      mTimer(service) {}

void IdleWait::Start() {
    IsIdle();  // posts the first marker
    LookAgainSoon();
}

void IdleWait::LookAgainSoon() {
    constexpr std::chrono::microseconds kInterval{500};
    mTimer.expires_after(kInterval);
    mTimer.async_wait([self = shared_from_this()](const boost::system::error_code&) { self->Look(); });
}

void IdleWait::Look() {
    if (mLoop.HasEnded()) {
        Finish("the application's event loop has ended");
    } else if (IsIdle()) {
        Finish({});
    } else if (Clock::now() >= mGivesUpAt) {
        Finish("not idle after " + std::to_string(mLimit.count()) + " ms: " + mBusyWith);
    } else {
        LookAgainSoon();
    }
}

bool IdleWait::IsIdle() {
    const BoardActivity activity = mBoard.Activity();
    if (!activity.mBusyWith.empty()) {
        mMarker.reset();
        mBusyWith = activity.mBusyWith;
        return false;
    }
    const bool hasLoopRun = mMarker != nullptr && mMarker->load(std::memory_order_acquire);
    if (hasLoopRun && activity.mEvents == mEventsAtMarker) {
        return true;
    }
    if (mMarker == nullptr || hasLoopRun) {
        mEventsAtMarker = activity.mEvents;
        mMarker = mLoop.PostMarker();
        mBusyWith = "the event loop hasn't run what was posted to it";
    }
    return false;
}

void IdleWait::Finish(const std::string& failure) {
    const Done done = std::exchange(mDone, nullptr);
    done(failure);
}

}  // namespace sim
