#pragma once

#include <atomic>
#include <memory>
#include <mutex>

namespace boost::asio {
class io_context;
}

namespace sim {

/// The bench's thread to the application's event loop, which comes and goes while the bench port stays. Any
/// thread.
class EventLoopLink {
  public:
    using Marker = std::shared_ptr<const std::atomic<bool>>;

    /// The loop to speak to from now on; null before it goes.
    void Attach(boost::asio::io_context* loop);

    /// Whether there was a loop and it has gone: there will be no other.
    bool HasEnded() const;

    /// Posts a marker to the loop: it turns true once the loop has run all that was posted before. Null where
    /// no loop is attached. It may stay false for ever, where the loop ends.
    Marker PostMarker();

  private:
    mutable std::mutex mMutex;
    boost::asio::io_context* mLoop = nullptr;
    bool mEnded = false;
};

}  // namespace sim
