#pragma once

#include <array>
#include <boost/signals2/connection.hpp>
#include <boost/signals2/signal.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace boost::asio {
class io_context;
}

namespace audio {

class ExternalReferenceFsi;

/// Decides which clock the audio PLL follows: the best enabled source whose measurements are in range, else
/// the internal clock. It lives on the FPGA's measurements and lock; no timer takes part.
///
/// Event loop only. Operations that say so are posted, and take effect after what is running now; the manager
/// outlives the loop.
class ExternalClockManager {
  public:
    static constexpr unsigned kClocks = 8;
    static constexpr unsigned kInternal = 0;

    enum class State : std::uint32_t { Idle = 0, Locking = 1, Locked = 2 };

    struct Clock {
        unsigned mId = 0;
        std::int32_t mPriority = 0x7FFFFFFF;  ///< lower is better
        std::uint32_t mMeasurement = 0;       ///< counts of the 27 MHz clock
        bool mAccepted = false;               ///< the last measurement was in range
        State mState = State::Idle;
        bool mEnabled = true;
    };

    using ClockPtr = std::shared_ptr<Clock>;
    using ClockSignal = boost::signals2::signal<void(unsigned)>;

    ExternalClockManager(boost::asio::io_context& io, std::shared_ptr<ExternalReferenceFsi> fsi);
    ExternalClockManager(const ExternalClockManager&) = delete;
    ExternalClockManager& operator=(const ExternalClockManager&) = delete;

    // Posted. An id above 7 is ignored.

    void SetPriority(unsigned id, std::int32_t priority, bool enabled);
    void EnableSource(unsigned id);
    void DisableSource(unsigned id);

    /// Stays on the internal clock until AutoSelect.
    void UseInternal();
    void AutoSelect();

    /// The id of a clock that the PLL has locked to.
    ClockSignal& ClockLocked() { return mClockLocked; }

    unsigned SelectedId() const { return mSelectedId; }
    bool IsAutoSelectOff() const { return mAutoSelectOff; }
    const Clock& GetClock(unsigned id) const { return *mClocks[id]; }
    const std::vector<ClockPtr>& PriorityList() const { return mPriorityList; }
    ExternalReferenceFsi& Fsi() const { return *mFsi; }

    /// The range of measurements that are accepted, both ends included.
    struct Range {
        std::uint32_t mLow;
        std::uint32_t mHigh;
    };
    Range AcceptRange() const;

  private:
    void Post(unsigned id, std::function<void(Clock&)> change);
    void SelectClock();
    unsigned BestClock() const;
    void OnReferenceLost();
    void OnLockLost();
    void NotifyMeasurementAvailable();
    bool TakeMeasurement(Clock& clock, std::uint32_t counts);
    void FollowSelected(Clock& clock);
    void AwaitLock(Clock& clock);
    void SortByPriority();

    boost::asio::io_context& mIo;
    std::shared_ptr<ExternalReferenceFsi> mFsi;
    std::vector<ClockPtr> mClocks;
    std::vector<ClockPtr> mPriorityList;
    unsigned mSelectedId = kInternal;
    bool mAutoSelectOff = false;
    ClockSignal mClockLocked;
    unsigned mLockAttempts = 0;
    std::size_t mRangeIndex = 1;
    std::array<boost::signals2::scoped_connection, 4> mConnections;
};

}  // namespace audio
