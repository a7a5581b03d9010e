#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "InterruptPipe.h"
#include "RegisterMaps.h"

namespace sim {

class ViolationLog;

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;

/// The registers of one node: the common direct ones, the words of its internal address space and its
/// interrupt line. What is particular to a block comes in derived classes by the hooks below. Owned by the
/// board, which calls everything here under its lock.
///
///     0x04  R   identity byte          0x30  W   interrupt enable
///     0x18  R   interrupt status       0x34  RW  interrupt acknowledge: a 1 clears, reads 0
///     0x20  RW  indirect data          0x38  W   control
///     0x24  W   indirect address       0x3C  R   status
class RegisterBlock {
  public:
    /// `identity` as on the board; the maps are those declared for it. `violations` outlives the block.
    RegisterBlock(std::string identity, std::uint32_t identityByte, ViolationLog& violations);
    virtual ~RegisterBlock() = default;
    RegisterBlock(const RegisterBlock&) = delete;
    RegisterBlock& operator=(const RegisterBlock&) = delete;

    const std::string& Identity() const { return mIdentity; }
    int InterruptDescriptor() const { return mPipe.Descriptor(); }

    // The application's side. An access that isn't declared is reported, reads 0 and writes nothing.
    std::uint32_t Read(std::uint32_t offset, TimePoint now);
    void Write(std::uint32_t offset, std::uint32_t value, TimePoint now);

    // The board's side: no reports, no side effects of reading.

    /// What a read of a direct register would give, 0 for one that can only be written; nothing where there
    /// is none.
    std::optional<std::uint32_t> Peek(std::uint32_t offset) const;

    /// The word at an internal address, nothing where there is none. A register that sets or clears bits
    /// shows the word that it acts on.
    std::optional<std::uint32_t> Word(std::uint32_t address) const;

    /// Sets that word; false where there is none.
    bool SetWord(std::uint32_t address, std::uint32_t value);

    /// Makes an interrupt (0 to 31) pending and, where it is enabled, signals the node.
    void Raise(unsigned id);

    std::uint32_t IdentityByte() const { return mIdentityByte; }
    std::uint32_t Enabled() const { return mEnabled; }
    std::uint32_t Control() const { return mControl; }

    /// Counts what may give the application something to do: interrupts and, in derived classes, more.
    std::uint64_t Events() const { return mEvents; }

    virtual bool HasInterrupts() const { return true; }

    /// What the application or this block still has to do; empty when nothing.
    virtual std::string BusyWith(TimePoint now) const;

    /// When OnDeadline wants to be called; TimePoint::max() for never.
    virtual TimePoint Deadline() const { return TimePoint::max(); }
    virtual void OnDeadline(TimePoint /*now*/) {}

  protected:
    void CountEvent() { ++mEvents; }

    virtual std::uint32_t InterruptStatus() const { return mPending; }
    virtual std::uint32_t Status() const { return 0; }
    virtual void OnControl(std::uint32_t /*before*/, TimePoint /*now*/) {}
    virtual void OnAcknowledged(std::uint32_t /*ids*/, TimePoint /*now*/) {}
    virtual void OnWordRead(std::uint32_t /*address*/, TimePoint /*now*/) {}
    virtual void OnWordWritten(std::uint32_t /*address*/, TimePoint /*now*/) {}

  private:
    struct DirectRegister;
    static const DirectRegister kDirectRegisters[];

    struct WordRange {
        std::uint32_t mFirst;
        std::uint32_t mCount;
        WordAccess mAccess;
        std::size_t mStorage;  ///< index of the first word's value
        const char* mName;

        bool Holds(std::uint32_t address) const;
        bool IsReadable() const { return mAccess == WordAccess::Read || mAccess == WordAccess::ReadWrite; }
        std::size_t StorageOf(std::uint32_t address) const { return mStorage + (address - mFirst) / 4; }
    };

    static const DirectRegister* FindDirect(std::uint32_t offset);
    void AddMap(const MapPlacement& map);
    const WordRange* FindRange(std::uint32_t address) const;
    std::uint32_t Line() const { return mPending & mEnabled; }
    void SignalWhereOnLine(std::uint32_t ids);

    std::uint32_t ReadData() const;
    std::uint32_t ReadAcknowledge() const { return 0; }
    void AfterDataRead(TimePoint now);
    void WriteData(std::uint32_t value, TimePoint now);
    void WriteAddress(std::uint32_t value, TimePoint now);
    void WriteEnable(std::uint32_t value, TimePoint now);
    void WriteAcknowledge(std::uint32_t value, TimePoint now);
    void WriteControl(std::uint32_t value, TimePoint now);

    void ReportDirect(const char* action, std::uint32_t offset, const DirectRegister* found);
    void ReportInternal(const char* action, const WordRange* found);

    const std::string mIdentity;
    const std::uint32_t mIdentityByte;
    ViolationLog& mViolations;
    InterruptPipe mPipe;
    std::vector<WordRange> mRanges;
    std::vector<std::uint32_t> mValues;
    std::uint32_t mAddress = 0;
    std::uint32_t mPending = 0;
    std::uint32_t mEnabled = 0;
    std::uint32_t mControl = 0;
    std::uint64_t mEvents = 0;
};

}  // namespace sim
