#include "Worker.h"

#include <utility>

Worker::Worker(Step step) : mStep(std::move(step)), mThread([this] { Run(); }) {}

Worker::~Worker() {
    Join();
}

void Worker::Stop() {
    Join();
    if (mFailure) {
        std::rethrow_exception(std::exchange(mFailure, nullptr));
    }
}

bool Worker::Rest(std::chrono::steady_clock::duration time) {
    return RestUntil(std::chrono::steady_clock::now() + time);
}

bool Worker::RestUntil(std::chrono::steady_clock::time_point time) {
    std::unique_lock lock(mMutex);
    return !mWake.wait_until(lock, time, [this] { return mStopping; });
}

void Worker::Run() {
    try {
        std::unique_lock lock(mMutex);
        while (!mStopping) {
            lock.unlock();
            mStep(*this);
            lock.lock();
        }
    } catch (...) {
        mFailure = std::current_exception();
    }
}

void Worker::Join() {
    {
        const std::lock_guard lock(mMutex);
        mStopping = true;
    }
    mWake.notify_all();
    if (mThread.joinable()) {
        mThread.join();
    }
}
