#pragma once

#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "AdmaBlock.h"
#include "FirmwareBlock.h"
#include "GpioBlock.h"
#include "IFsiBus.h"
#include "LinkDriver.h"
#include "ReferenceBlock.h"
#include "RegisterBlock.h"
#include "ViolationLog.h"

namespace sim {

class RegisterTrace;

/// What a board is at power-up.
struct BoardSettings {
    std::uint32_t mDip = 1;           ///< the switches, 0 to 255
    std::uint32_t mFirmware = 1234;   ///< build word
    std::uint32_t mDcReading = 2405;  ///< supply reading, 0 to 4095; this one is 24.0 V
    std::uint32_t mAdcId = 1;         ///< ADMA addresses of the converters, 0 to 7
    std::uint32_t mDacId = 4;
    std::vector<std::string> mWithout;  ///< identities of nodes that the board lacks
    bool mSyncing = false;              ///< a change-over is in hand, and held
    std::array<std::optional<LinkSpec>, LinkDriver::kLinks> mLinks{};  ///< what the link driver tells first
};

/// Whether the application has everything behind it that the board has given it to do.
struct BoardActivity {
    std::string mBusyWith;  ///< what is left to do, in words; empty when nothing is
    std::uint64_t mEvents;  ///< differs from an earlier count where something has come since
};

/// The virtual board: the register blocks behind the bus that the application opens, and a back door in
/// physical terms (supply, switches, clock measurements, change-overs) for the bench port and for tests.
/// Everything above the bus is the product's own code.
///
/// Any thread may call anything; one lock orders them, held for the time of one access or one run of words. A
/// thread of its own ends what takes time. Identities compare without case. It must outlive its windows.
class Board : public fsi::IFsiBus {
  public:
    explicit Board(const BoardSettings& settings);
    ~Board() override;

    /// Whether `identity` is one that a full board has.
    static bool IsIdentity(const std::string& identity);

    std::unique_ptr<fsi::IRegisterWindow> Open(const std::string& identity, unsigned instance) override;

    /// Whether this board has the node.
    bool HasNode(const std::string& identity) const;

    // Registers from the board's side: nothing or false where there is no such node, register or word.

    /// A direct register as the application would read it, without the side effects.
    std::optional<std::uint32_t> DirectRead(const std::string& identity, std::uint32_t offset) const;
    std::optional<std::uint32_t> Word(const std::string& identity, std::uint32_t address) const;
    bool SetWord(const std::string& identity, std::uint32_t address, std::uint32_t value);

    /// Makes interrupt `id`, 0 to 31, pending; false where the node has no interrupts.
    bool RaiseInterrupt(const std::string& identity, unsigned id);

    // The world around the board. A node that the board lacks makes no difference here.

    void SetDip(std::uint32_t switches);        ///< 0 to 255
    void SetPsuReading(std::uint32_t reading);  ///< 0 to 4095; no interrupt
    void SetLineFault(bool fault);              ///< of the DC line: its change flag, interrupt 0 if enabled
    void SetProtectionFault(bool fault);        ///< of the DC protection: the same
    void SetPllLocked(bool locked);
    void SetSyncMode(SyncMode mode);  ///< AdmaBlock tells
    void ReleaseSync();

    /// A clock measurement: `clock` 0 to 255, `count` of 24 bits; false where too many wait already.
    bool Measure(std::uint32_t clock, std::uint32_t count);

    /// The router links' driver.
    LinkDriver& Links() { return mLinkDriver; }

    // What the board does.

    /// Transactions `first` to `last` (below 2048) of the table in use.
    std::vector<std::uint32_t> TableInUse(std::uint32_t first, std::uint32_t last) const;

    /// The endpoint word of the source heard at `destination`, 0 for silence; nothing where no transaction
    /// has that destination.
    std::optional<std::uint32_t> Hear(std::uint32_t destination) const;

    BoardActivity Activity() const;

    /// The state of everything as one line of JSON.
    std::string StateText() const;

    /// Starts a trace of the application's accesses in place of the one that runs. Throws BadText, and
    /// leaves that one alone, where the file can't be written.
    void StartTrace(const std::string& path);
    void StopTrace();

    /// The application's wrong accesses so far, in words.
    std::vector<std::string> Violations() const;

  private:
    class Window;
    using Lock = std::unique_lock<std::mutex>;

    std::uint32_t Read(RegisterBlock& block, std::uint32_t offset);
    void WriteRun(RegisterBlock& block, std::uint32_t offset, const std::uint32_t* values, std::size_t count);

    RegisterBlock* Find(const std::string& identity) const;
    TimePoint NextDeadline() const;
    void WakeTimerWhereDue();
    void RunTimer();

    mutable std::mutex mMutex;
    std::condition_variable mTimerWake;
    bool mStopping = false;
    TimePoint mTimerSleepsUntil = TimePoint::min();

    ViolationLog mViolations;
    AdmaBlock mAdma;
    ReferenceBlock mReference;
    RegisterBlock mAdc;
    RegisterBlock mDac;
    GpioBlock mGpio;
    GpioBlock mPower;
    RegisterBlock mAdcClocks;
    RegisterBlock mDacClocks;
    FirmwareBlock mFirmware;
    const std::array<RegisterBlock*, 9> mBlocks;
    const std::vector<std::string> mWithout;
    LinkDriver mLinkDriver;
    std::unique_ptr<RegisterTrace> mTrace;

    std::thread mTimer;
};

}  // namespace sim
