#pragma once

#include <poll.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace boost::asio {
class io_context;
}

namespace fsi {

class Interruptable;

/// Watches the interrupt descriptors of the devices on a thread of its own and has the event loop serve them.
/// The thread touches no register. One that is posted for and not yet served isn't posted for again: serving
/// reads the pending ids of the block, so a busy loop can't pile handlers up.
class UioInterruptController {
  public:
    /// Starts the thread at once. `eventLoop` outlives the controller.
    UioInterruptController(boost::asio::io_context& eventLoop,
                           const std::vector<std::shared_ptr<Interruptable>>& devices);
    UioInterruptController(const UioInterruptController&) = delete;
    UioInterruptController& operator=(const UioInterruptController&) = delete;

    /// Joins the thread, which takes a second at most. What is still posted then does nothing.
    ~UioInterruptController();

  private:
    struct Source {
        std::shared_ptr<Interruptable> mDevice;
        std::atomic<bool> mPosted{false};
    };

    void Run();
    void Serve(std::size_t position, pollfd& polled);
    void Post(const std::shared_ptr<Source>& source);

    boost::asio::io_context& mEventLoop;
    std::vector<std::shared_ptr<Source>> mSources;
    std::atomic<bool> mRunning{true};
    std::thread mThread;
};

}  // namespace fsi
