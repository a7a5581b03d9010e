#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>

/// Carries out a step again and again on a thread of its own, until it is stopped or the step throws.
class Worker {
  public:
    using Step = std::function<void(Worker&)>;

    explicit Worker(Step step);
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Waits for the present step's end; throws what a step threw.
    void Stop();

    /// For the step: waits, but not longer than to the stop; false where that comes first.
    bool Rest(std::chrono::steady_clock::duration time);
    bool RestUntil(std::chrono::steady_clock::time_point time);

  private:
    void Run();
    void Join();

    const Step mStep;
    std::exception_ptr mFailure;
    std::mutex mMutex;
    std::condition_variable mWake;
    bool mStopping = false;  ///< guarded by the mutex
    std::thread mThread;
};
