#include "UioInterruptController.h"

#include <unistd.h>

#include <boost/asio/io_service.hpp>
#include <boost/asio/post.hpp>
#include <cerrno>
#include <cstdint>

#include "Audit.h"
#include "Interruptable.h"

namespace fsi {

namespace {

constexpr int kPollMs = 1000;

/// Takes the event count off the descriptor. False where nothing more will come from it: its end, or an error
/// that would make poll return at once for ever.
bool TakeEvent(int descriptor) {
    std::uint32_t count = 0;
    const ssize_t size = read(descriptor, &count, sizeof count);
    return size > 0 || (size < 0 && (errno == EINTR || errno == EAGAIN));
}

}  // namespace

UioInterruptController::UioInterruptController(boost::asio::io_context& eventLoop,
                                               const std::vector<std::shared_ptr<Interruptable>>& devices)
    : mEventLoop(eventLoop) {
    for (const auto& device : devices) {
        mSources.push_back(std::make_shared<Source>());
        mSources.back()->mDevice = device;
    }
    mThread = std::thread([this] { Run(); });
}

UioInterruptController::~UioInterruptController() {
    mRunning = false;
    mThread.join();
}

void UioInterruptController::Run() {
    std::vector<pollfd> polled;
    for (const auto& source : mSources) {
        polled.push_back({source->mDevice->Descriptor(), POLLIN, 0});
    }
    while (mRunning) {
        if (poll(polled.data(), polled.size(), kPollMs) <= 0 || !mRunning) {
            continue;
        }
        for (std::size_t position = 0; position < polled.size(); ++position) {
            Serve(position, polled[position]);
        }
    }
}

void UioInterruptController::Serve(std::size_t position, pollfd& polled) {
    if (polled.revents == 0) {
        return;
    }
    const std::shared_ptr<Source>& source = mSources[position];
    bool usable = (polled.revents & (POLLERR | POLLHUP | POLLNVAL)) == 0;
    if ((polled.revents & POLLIN) != 0) {
        usable = TakeEvent(polled.fd) && usable;
        Post(source);
    }
    if (!usable) {
        AUDIT(Feature::Fault,
              "Brindlet: FAULT - no more interrupts from FSI '%s': its descriptor %d has failed\n",
              source->mDevice->Identity().c_str(), polled.fd);
        polled.fd = -1;
    }
}

void UioInterruptController::Post(const std::shared_ptr<Source>& source) {
    if (source->mPosted.exchange(true)) {
        return;
    }
    boost::asio::post(mEventLoop, [weak = std::weak_ptr<Source>(source)] {
        if (const auto posted = weak.lock()) {
            posted->mPosted = false;
            posted->mDevice->HandleInterrupts();
        }
    });
}

}  // namespace fsi
