#include "ReferenceBlock.h"

namespace sim {
namespace {

constexpr unsigned kMeasurementInterrupt = 2;
constexpr std::uint32_t kMeasurementBit = 1U << kMeasurementInterrupt;
constexpr std::uint32_t kPllLockedStatus = 0x08;
constexpr unsigned kCountShift = 8;

// The application acknowledges, then reads: a measurement stays in view for so long after its
// acknowledgement.
constexpr std::chrono::milliseconds kUnreadTime{10};

}  // namespace

bool ReferenceBlock::Measure(std::uint32_t clock, std::uint32_t count, TimePoint now) {
    Advance(now);
    const std::uint32_t measurement = clock | count << kCountShift;
    if (!mShown) {
        Show(measurement);
        return true;
    }
    if (mQueue.size() >= kMaxQueued) {
        return false;
    }
    mQueue.push_back(measurement);
    CountEvent();
    return true;
}

void ReferenceBlock::Show(std::uint32_t measurement) {
    SetWord(kMeasurementAddress, measurement);
    mShown = true;
    mRead = false;
    mGivenUpAt = TimePoint::max();
    Raise(kMeasurementInterrupt);
}

void ReferenceBlock::Advance(TimePoint now) {
    const bool isAcknowledged = mGivenUpAt != TimePoint::max();
    if (!mShown || !isAcknowledged || (!mRead && now < mGivenUpAt)) {
        return;
    }
    mShown = false;
    if (!mQueue.empty()) {
        const std::uint32_t next = mQueue.front();
        mQueue.pop_front();
        Show(next);
    }
}

std::string ReferenceBlock::BusyWith(TimePoint now) const {
    std::string busy = RegisterBlock::BusyWith(now);
    if (busy.empty() && !mQueue.empty() && (Enabled() & kMeasurementBit) != 0) {
        busy = "measurements are queued";
    }
    return busy;
}

TimePoint ReferenceBlock::Deadline() const {
    return mQueue.empty() ? TimePoint::max() : mGivenUpAt;
}

std::uint32_t ReferenceBlock::Status() const {
    return mPllLocked ? kPllLockedStatus : 0;
}

void ReferenceBlock::OnAcknowledged(std::uint32_t ids, TimePoint now) {
    if ((ids & kMeasurementBit) == 0) {
        return;
    }
    mGivenUpAt = now + kUnreadTime;
    Advance(now);
}

void ReferenceBlock::OnWordRead(std::uint32_t address, TimePoint now) {
    if (address != kMeasurementAddress) {
        return;
    }
    mRead = true;
    Advance(now);
}

}  // namespace sim
