#include "AdmaBlock.h"

#include <algorithm>
#include <utility>

namespace sim {
namespace {

constexpr unsigned kEndOfSync = 0;
constexpr std::uint32_t kSyncControl = 0x20;
constexpr std::uint32_t kSyncingStatus = 0x08;
constexpr std::uint32_t kEndpointMask = 0xFFF;
constexpr unsigned kSourceShift = 12;
constexpr std::chrono::milliseconds kChangeOverTime{1};

// The application writes the table on one thread and asks for the change-over on another: how long that one
// is expected to take to wake.
constexpr std::chrono::milliseconds kAskingTime{100};

}  // namespace

AdmaBlock::AdmaBlock(std::string identity, ViolationLog& violations)
    : RegisterBlock(std::move(identity), 0, violations), mTaken(kTableWords), mInUse(kTableWords) {}

void AdmaBlock::StartHeld() {
    mMode = SyncMode::Hold;
    Begin(TimePoint::min());
}

void AdmaBlock::SetSyncMode(SyncMode mode, TimePoint now) {
    mMode = mode;
    if (mode == SyncMode::Hold) {
        mEndsAt = TimePoint::max();
    } else if (IsHeld()) {
        End(now);
    }
}

void AdmaBlock::Release(TimePoint now) {
    mMode = SyncMode::Hold;
    if (mInHand) {
        End(now);
    }
}

std::optional<std::uint32_t> AdmaBlock::SourceOf(std::uint32_t destination) const {
    const auto found = std::find_if(mInUse.begin(), mInUse.end(), [destination](std::uint32_t transaction) {
        return transaction != 0 && (transaction & kEndpointMask) == destination;
    });
    if (found == mInUse.end()) {
        return std::nullopt;
    }
    return *found >> kSourceShift & kEndpointMask;
}

std::string AdmaBlock::BusyWith(TimePoint now) const {
    std::string busy = RegisterBlock::BusyWith(now);
    if (!busy.empty() || IsHeld()) {
        return busy;
    }
    if (mInHand) {
        return "a change-over is in hand";
    }
    if (mTableUnasked && now < mLastProgress + kAskingTime) {
        return "a table has been written and its change-over not asked for";
    }
    return {};
}

void AdmaBlock::OnDeadline(TimePoint now) {
    if (mInHand && now >= mEndsAt) {
        End(now);
    }
}

std::uint32_t AdmaBlock::Status() const {
    return mInHand ? kSyncingStatus : 0;
}

void AdmaBlock::OnControl(std::uint32_t before, TimePoint now) {
    if ((Control() & ~before & kSyncControl) == 0) {
        return;
    }
    CountEvent();
    mTableUnasked = false;
    if (mInHand) {
        mAskedAgain = true;
    } else {
        Begin(now);
    }
}

void AdmaBlock::OnWordWritten(std::uint32_t /*address*/, TimePoint now) {
    CountEvent();
    mTableUnasked = true;
    mLastProgress = now;
}

void AdmaBlock::Begin(TimePoint now) {
    mInHand = true;
    mEndsAt = mMode == SyncMode::Hold ? TimePoint::max() : now + kChangeOverTime;
    for (std::uint32_t n = 0; n < kTableWords; ++n) {
        mTaken[n] = Word(kTableAddress + 4 * n).value();
    }
}

void AdmaBlock::End(TimePoint now) {
    mInUse.swap(mTaken);
    mInHand = false;
    mLastProgress = now;
    ++mCompletedSyncs;
    Raise(kEndOfSync);
    if (std::exchange(mAskedAgain, false)) {
        Begin(now);
    }
}

}  // namespace sim
