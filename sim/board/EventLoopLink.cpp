#include "EventLoopLink.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

namespace sim {

void EventLoopLink::Attach(boost::asio::io_context* loop) {
    const std::lock_guard<std::mutex> lock(mMutex);
    mEnded = loop == nullptr && mLoop != nullptr;
    mLoop = loop;
}

bool EventLoopLink::HasEnded() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mEnded;
}

EventLoopLink::Marker EventLoopLink::PostMarker() {
    const std::lock_guard<std::mutex> lock(mMutex);
    if (mLoop == nullptr) {
        return nullptr;
    }
    auto hasRun = std::make_shared<std::atomic<bool>>(false);
    boost::asio::post(*mLoop, [hasRun] { hasRun->store(true, std::memory_order_release); });
    return hasRun;
}

}  // namespace sim
