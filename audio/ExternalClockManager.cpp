#include "ExternalClockManager.h"

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <utility>

#include "Audit.h"
#include "ExternalReferenceFsi.h"

namespace audio {

namespace {

constexpr unsigned kLockAttempts = 3;

// Interrupts of the reference unit.
constexpr unsigned kReferenceLost = 0;
constexpr unsigned kReferenceChanged = 1;
constexpr unsigned kMeasurementAvailable = 2;
constexpr unsigned kLockLost = 3;

/// For 2048 samples of the network's frame rate, by range index.
constexpr std::array<ExternalClockManager::Range, 2> kRanges{{
    {1228876, 1278876},  // 44.1 kHz
    {1129000, 1175000},  // 48 kHz
}};

}  // namespace

ExternalClockManager::ExternalClockManager(boost::asio::io_context& io,
                                           std::shared_ptr<ExternalReferenceFsi> fsi)
    : mIo(io), mFsi(std::move(fsi)) {
    for (unsigned id = 0; id < kClocks; ++id) {
        mClocks.push_back(std::make_shared<Clock>());
        mClocks.back()->mId = id;
    }
    mPriorityList = mClocks;
    std::rotate(mPriorityList.begin(), mPriorityList.begin() + 1, mPriorityList.end());
    mConnections = {mFsi->Connect(kReferenceLost, [this] { OnReferenceLost(); }),
                    mFsi->Connect(kReferenceChanged, [this] { OnReferenceLost(); }),
                    mFsi->Connect(kMeasurementAvailable, [this] { NotifyMeasurementAvailable(); }),
                    mFsi->Connect(kLockLost, [this] { OnLockLost(); })};
}

ExternalClockManager::Range ExternalClockManager::AcceptRange() const {
    return kRanges[mRangeIndex];
}

void ExternalClockManager::SetPriority(unsigned id, std::int32_t priority, bool enabled) {
    Post(id, [this, priority, enabled](Clock& clock) {
        clock.mPriority = priority;
        clock.mEnabled = enabled;
        SortByPriority();
        SelectClock();
    });
}

void ExternalClockManager::EnableSource(unsigned id) {
    Post(id, [this](Clock& clock) {
        clock.mEnabled = true;
        SelectClock();
    });
}

void ExternalClockManager::DisableSource(unsigned id) {
    Post(id, [this](Clock& clock) {
        clock.mEnabled = false;
        SelectClock();
    });
}

void ExternalClockManager::UseInternal() {
    Post(kInternal, [this](Clock&) {
        mAutoSelectOff = true;
        mSelectedId = kInternal;
        mFsi->SetExternalPllSource(kInternal);
    });
}

void ExternalClockManager::AutoSelect() {
    Post(kInternal, [this](Clock&) {
        mAutoSelectOff = false;
        SelectClock();
    });
}

void ExternalClockManager::Post(unsigned id, std::function<void(Clock&)> change) {
    if (id < kClocks) {
        boost::asio::post(mIo, [clock = mClocks[id], change = std::move(change)] { change(*clock); });
    }
}

/// Of equal clocks the one with the lower id goes first, but for the internal one, which goes last.
void ExternalClockManager::SortByPriority() {
    std::sort(mPriorityList.begin(), mPriorityList.end(), [](const ClockPtr& left, const ClockPtr& right) {
        if (left->mPriority != right->mPriority) {
            return left->mPriority < right->mPriority;
        }
        return left->mId != kInternal && (right->mId == kInternal || left->mId < right->mId);
    });
}

unsigned ExternalClockManager::BestClock() const {
    const auto best = std::find_if(mPriorityList.begin(), mPriorityList.end(),
                                   [](const ClockPtr& clock) { return clock->mEnabled && clock->mAccepted; });
    return best == mPriorityList.end() ? kInternal : (*best)->mId;
}

void ExternalClockManager::SelectClock() {
    if (mAutoSelectOff) {
        return;
    }
    const unsigned previous = std::exchange(mSelectedId, BestClock());
    if (previous == mSelectedId) {
        return;
    }
    mClocks[previous]->mState = State::Idle;
    mClocks[mSelectedId]->mState = State::Locking;
    mLockAttempts = kLockAttempts;
    mFsi->SetExternalPllSource(mSelectedId);
    if (mSelectedId != kInternal) {
        mFsi->SetIdEnabled(kLockLost, true);
    }
}

void ExternalClockManager::OnReferenceLost() {
    Clock& selected = *mClocks[mSelectedId];
    selected.mMeasurement = 0;
    selected.mAccepted = false;
    SelectClock();
}

void ExternalClockManager::OnLockLost() {
    mFsi->SetIdEnabled(kLockLost, false);
    SelectClock();
}

void ExternalClockManager::NotifyMeasurementAvailable() {
    const ExternalClockSourcesMap::Measurement measurement = mFsi->ReadMeasurement();
    if (measurement.mClockId >= kClocks) {
        AUDIT(Feature::Fault, "NotifyMeasurementAvailable: no clock has the Id %u\r\n", measurement.mClockId);
        return;
    }
    Clock& clock = *mClocks[measurement.mClockId];
    const bool hasComeGood = TakeMeasurement(clock, measurement.mCounts);
    if (clock.mId == mSelectedId) {
        FollowSelected(clock);
    } else if (hasComeGood) {
        SelectClock();
    }
}

/// Whether it is in range and the one before was not.
bool ExternalClockManager::TakeMeasurement(Clock& clock, std::uint32_t counts) {
    const Range range = AcceptRange();
    const bool wasAccepted = clock.mAccepted;
    clock.mMeasurement = counts;
    clock.mAccepted = counts >= range.mLow && counts <= range.mHigh;
    AUDIT(Feature::SyncSelectorDebug, "NotifyMeasurementAvailable Id %u value %u range %u:%u\r\n", clock.mId,
          counts, range.mLow, range.mHigh);
    if (clock.mAccepted && !wasAccepted) {
        AUDIT(Feature::Information, "Clock %u inside accept measurements \r\n", clock.mId);
    }
    return clock.mAccepted && !wasAccepted;
}

void ExternalClockManager::FollowSelected(Clock& clock) {
    if (clock.mState == State::Locking) {
        AwaitLock(clock);
    } else if (clock.mState == State::Locked && !clock.mAccepted) {
        SelectClock();
    }
}

void ExternalClockManager::AwaitLock(Clock& clock) {
    if (mFsi->IsPllLocked()) {
        // A PLL that holds proves the source better than one measurement does.
        mClockLocked(clock.mId);
        clock.mAccepted = true;
        clock.mState = State::Locked;
        return;
    }
    if (--mLockAttempts == 0) {
        AUDIT(Feature::Fault, "No servo loop lock after a number of attempts\r\n");
        clock.mAccepted = false;
        SelectClock();
    }
}

}  // namespace audio
