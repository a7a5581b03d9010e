#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "RegisterBlock.h"

namespace sim {

/// When change-overs end.
enum class SyncMode {
    Auto,  ///< by themselves, about a millisecond after they started
    Hold,  ///< when they are released
};

/// The audio DMA engine: the transaction table as it is written, and the one in use, which is what is heard.
/// A rising sync bit starts a change-over from the one to the other. Owned by the board and used under its
/// lock.
class AdmaBlock : public RegisterBlock {
  public:
    AdmaBlock(std::string identity, ViolationLog& violations);

    /// Power-up in the middle of a change-over (to an empty table), which is held.
    void StartHeld();

    /// Hold keeps the change-over in hand, and each later one, from ending; Auto ends a held one at once.
    void SetSyncMode(SyncMode mode, TimePoint now);

    /// Ends the change-over in hand, where there is one, and holds the next.
    void Release(TimePoint now);

    const std::vector<std::uint32_t>& TableInUse() const { return mInUse; }
    bool IsSyncing() const { return mInHand; }
    std::uint64_t CompletedSyncs() const { return mCompletedSyncs; }

    /// The endpoint word of the source that the table in use plays at the endpoint word `destination`, 0 for
    /// silence; nothing where no transaction has that destination.
    std::optional<std::uint32_t> SourceOf(std::uint32_t destination) const;

    std::string BusyWith(TimePoint now) const override;
    TimePoint Deadline() const override { return mInHand ? mEndsAt : TimePoint::max(); }
    void OnDeadline(TimePoint now) override;

  protected:
    std::uint32_t Status() const override;
    void OnControl(std::uint32_t before, TimePoint now) override;
    void OnWordWritten(std::uint32_t address, TimePoint now) override;

  private:
    bool IsHeld() const { return mInHand && mEndsAt == TimePoint::max(); }
    void Begin(TimePoint now);
    void End(TimePoint now);

    std::vector<std::uint32_t> mTaken;  ///< the table as written when the change-over in hand began
    std::vector<std::uint32_t> mInUse;
    SyncMode mMode = SyncMode::Auto;
    bool mInHand = false;
    bool mAskedAgain = false;              ///< the sync bit rose while a change-over was in hand
    TimePoint mEndsAt = TimePoint::max();  ///< of the one in hand; max() while it is held
    std::uint64_t mCompletedSyncs = 0;
    bool mTableUnasked = false;                  ///< written since the sync bit last rose
    TimePoint mLastProgress = TimePoint::min();  ///< last word of the table, or end of a change-over
};

}  // namespace sim
