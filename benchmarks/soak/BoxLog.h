#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <fstream>
#include <mutex>
#include <string>

#include "Worker.h"

/// Follows what the box logs, by its standard output, where every line comes once and none is lost to a
/// rotation; and the size of its log file, to see the rotations. Each command leaves one line that counts
/// here, for the link whose half of the ports it is about. A thread of its own; the counts may be read from
/// any.
///
/// What has been read of the output is given back to the disk, or hours of it would fill that.
class BoxLog {
  public:
    static constexpr unsigned kPortsEach = 4;    ///< link 0's ports are 0 to 3, link 1's 4 to 7
    static constexpr unsigned kFencePort = 100;  ///< an input that no box has; one more for link 1
    static constexpr unsigned kPorts = 2 * kPortsEach;

    struct Counts {
        std::array<std::atomic<unsigned long>, 2> mCommands{};      ///< carried out, by link
        std::array<std::atomic<unsigned long>, 2> mFence{};         ///< the gain of the last fence, by link
        std::array<std::atomic<unsigned>, kPorts> mRefusedGains{};  ///< came while another was under way
        std::atomic<unsigned> mStreams{0};
        std::atomic<unsigned> mFailOvers{0};
        std::atomic<unsigned> mDroppedClients{0};
        std::atomic<unsigned> mRotations{0};
        std::atomic<unsigned> mAsserts{0};
    };

    BoxLog(std::string outputPath, std::string logPath);

    const Counts& Seen() const { return mCounts; }

    /// The last lines about links and streams.
    std::string LinkEvents() const;

    /// The longest rest of this thread, which wants 10 ms each time, since it was last asked: how long the
    /// machine has held up the box and the routers too.
    std::chrono::milliseconds TakeLongestPause() {
        return std::chrono::milliseconds(mLongestPauseMs.exchange(0));
    }

    /// Throws what went wrong while following.
    void Stop() { mWorker.Stop(); }

  private:
    void Look();
    void TakeLine(const std::string& line);
    void TakeLinkEvent(const std::string& line);
    void CountCommand(unsigned long port);
    void GiveBack(std::uint64_t end);

    const std::string mOutputPath;
    const std::string mLogPath;
    std::ifstream mOutput;
    std::string mPiece;  ///< of a line that isn't whole yet
    std::uint64_t mRead = 0;
    std::uint64_t mGivenBack = 0;
    std::uint64_t mLogSize = 0;
    Counts mCounts;
    std::atomic<long> mLongestPauseMs{0};
    mutable std::mutex mMutex;
    std::deque<std::string> mLinkEvents;  ///< guarded by the mutex
    Worker mWorker;
};
