#pragma once

#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <memory>
#include <string>

namespace boost::asio {
class io_context;
}

namespace TalvoBrindlet {

/// Logs the memory use of the process and the system at regular intervals while it lives and is started.
/// Owned by the device controller; event loop only.
class MemoryMonitor {
  public:
    static constexpr std::chrono::seconds kPeriod{600};

    /// `proc` is where the kernel tells of memory.
    explicit MemoryMonitor(boost::asio::io_context& eventLoop, std::chrono::milliseconds period = kPeriod,
                           std::string proc = "/proc");
    MemoryMonitor(const MemoryMonitor&) = delete;
    MemoryMonitor& operator=(const MemoryMonitor&) = delete;
    virtual ~MemoryMonitor();

    /// The first report comes after one period.
    void Start();
    void Stop();

  private:
    void Arm();
    void OnTimer(const boost::system::error_code& error);
    void Report() const;
    std::string SystemLine() const;
    std::string ProcessLine() const;

    std::shared_ptr<boost::asio::steady_timer> mTimer;
    std::chrono::milliseconds mPeriod;
    std::string mProc;
};

}  // namespace TalvoBrindlet
