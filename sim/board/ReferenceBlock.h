#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "RegisterBlock.h"

namespace sim {

/// The external reference unit: clock measurements, which reach the application one at a time by interrupt 2,
/// and the PLL's lock. Owned by the board and used under its lock.
///
/// The application acknowledges a measurement's interrupt first and reads its word after that. So the word
/// stays until both have happened, or, where nobody reads, until a while after the acknowledge: no queued
/// measurement is lost, and none holds up the queue for ever.
class ReferenceBlock : public RegisterBlock {
  public:
    static constexpr std::size_t kMaxQueued = 1024;

    using RegisterBlock::RegisterBlock;

    /// A measurement of `clock` (8 bits), a count of 24 bits: shown at once, or behind those before it. False
    /// where kMaxQueued wait already.
    bool Measure(std::uint32_t clock, std::uint32_t count, TimePoint now);

    void SetPllLocked(bool locked) { mPllLocked = locked; }
    bool IsPllLocked() const { return mPllLocked; }

    std::string BusyWith(TimePoint now) const override;
    TimePoint Deadline() const override;
    void OnDeadline(TimePoint now) override { Advance(now); }

  protected:
    std::uint32_t Status() const override;
    void OnAcknowledged(std::uint32_t ids, TimePoint now) override;
    void OnWordRead(std::uint32_t address, TimePoint now) override;

  private:
    void Advance(TimePoint now);
    void Show(std::uint32_t measurement);

    std::deque<std::uint32_t> mQueue;
    bool mShown = false;  ///< a measurement stands in the word, not done with yet
    bool mRead = false;
    TimePoint mGivenUpAt = TimePoint::max();  ///< known once it is acknowledged
    bool mPllLocked = false;
};

}  // namespace sim
