#include "Board.h"

#include <strings.h>
#include <algorithm>
#include <system_error>
#include <utility>

#include "BoardBits.h"
#include "RegisterTrace.h"
#include "StateReport.h"

namespace sim {
namespace {

constexpr const char* kIdentities[] = {"0003", "0004", "0007", "0008", "0009",
                                       "000A", "000C", "000D", "0010"};
constexpr int kNoSuchDevice = 19;

bool AreSame(const std::string& identity, const std::string& other) {
    return ::strcasecmp(identity.c_str(), other.c_str()) == 0;
}

}  // namespace

/// One node as the application has opened it.
class Board::Window : public fsi::IRegisterWindow {
  public:
    Window(Board& board, RegisterBlock& block) : mBoard(board), mBlock(block) {}

    std::uint32_t Read(std::uint32_t offset) override { return mBoard.Read(mBlock, offset); }
    void Write(std::uint32_t offset, std::uint32_t value) override {
        mBoard.WriteRun(mBlock, offset, &value, 1);
    }
    void WriteRun(std::uint32_t offset, const std::uint32_t* values, std::size_t count) override {
        mBoard.WriteRun(mBlock, offset, values, count);
    }
    int Descriptor() const override { return mBlock.InterruptDescriptor(); }
    std::uintptr_t MappedBase() const override { return reinterpret_cast<std::uintptr_t>(&mBlock); }

  private:
    Board& mBoard;
    RegisterBlock& mBlock;
};

Board::Board(const BoardSettings& settings)
    : mAdma("0003", mViolations),
      mReference("0004", 0, mViolations),
      mAdc("0007", 0, mViolations),
      mDac("0008", 0, mViolations),
      mGpio("0009", 0, mViolations),
      mPower("000A", 0, mViolations),
      mAdcClocks("000C", settings.mAdcId, mViolations),
      mDacClocks("000D", settings.mDacId, mViolations),
      mFirmware("0010", settings.mFirmware, mViolations),
      mBlocks{&mAdma, &mReference, &mAdc, &mDac, &mGpio, &mPower, &mAdcClocks, &mDacClocks, &mFirmware},
      mWithout(settings.mWithout) {
    mGpio.SetWord(kInputsAddress, settings.mDip << kDipShift);
    mPower.SetWord(kInputsAddress, settings.mDcReading | kProtectionOkInput);
    if (settings.mSyncing) {
        mAdma.StartHeld();
    }
    for (unsigned link = 0; link < settings.mLinks.size(); ++link) {
        if (settings.mLinks[link]) {
            mLinkDriver.SetLink(link, *settings.mLinks[link]);
        }
    }
    mTimer = std::thread([this] { RunTimer(); });
}

Board::~Board() {
    {
        const Lock lock(mMutex);
        mStopping = true;
    }
    mTimerWake.notify_one();
    mTimer.join();
}

bool Board::IsIdentity(const std::string& identity) {
    return std::any_of(std::begin(kIdentities), std::end(kIdentities),
                       [&identity](const char* known) { return AreSame(identity, known); });
}

std::unique_ptr<fsi::IRegisterWindow> Board::Open(const std::string& identity, unsigned instance) {
    RegisterBlock* const block = Find(identity);
    if (block == nullptr || instance != 0) {
        throw std::system_error(kNoSuchDevice, std::generic_category(),
                                "FSI '" + identity + "' (device '', fd -1, size 0)");
    }
    return std::make_unique<Window>(*this, *block);
}

bool Board::HasNode(const std::string& identity) const {
    return Find(identity) != nullptr;
}

std::optional<std::uint32_t> Board::DirectRead(const std::string& identity, std::uint32_t offset) const {
    const Lock lock(mMutex);
    const RegisterBlock* const block = Find(identity);
    return block == nullptr ? std::nullopt : block->Peek(offset);
}

std::optional<std::uint32_t> Board::Word(const std::string& identity, std::uint32_t address) const {
    const Lock lock(mMutex);
    const RegisterBlock* const block = Find(identity);
    return block == nullptr ? std::nullopt : block->Word(address);
}

bool Board::SetWord(const std::string& identity, std::uint32_t address, std::uint32_t value) {
    const Lock lock(mMutex);
    RegisterBlock* const block = Find(identity);
    return block != nullptr && block->SetWord(address, value);
}

bool Board::RaiseInterrupt(const std::string& identity, unsigned id) {
    const Lock lock(mMutex);
    RegisterBlock* const block = Find(identity);
    if (block == nullptr || !block->HasInterrupts()) {
        return false;
    }
    block->Raise(id);
    return true;
}

void Board::SetDip(std::uint32_t switches) {
    const Lock lock(mMutex);
    mGpio.SetInputs(kDipInputs, switches << kDipShift);
}

void Board::SetPsuReading(std::uint32_t reading) {
    const Lock lock(mMutex);
    // The reading is a converter's value, not input lines: it sets no change flags.
    mPower.SetWord(kInputsAddress, (mPower.Inputs() & ~kReadingMask) | reading);
}

void Board::SetLineFault(bool fault) {
    const Lock lock(mMutex);
    mPower.SetInputs(kLineFaultInput, fault ? kLineFaultInput : 0);
}

void Board::SetProtectionFault(bool fault) {
    const Lock lock(mMutex);
    mPower.SetInputs(kProtectionOkInput, fault ? 0 : kProtectionOkInput);
}

void Board::SetPllLocked(bool locked) {
    const Lock lock(mMutex);
    mReference.SetPllLocked(locked);
}

void Board::SetSyncMode(SyncMode mode) {
    const Lock lock(mMutex);
    mAdma.SetSyncMode(mode, Clock::now());
    WakeTimerWhereDue();
}

void Board::ReleaseSync() {
    const Lock lock(mMutex);
    mAdma.Release(Clock::now());
}

bool Board::Measure(std::uint32_t clock, std::uint32_t count) {
    const Lock lock(mMutex);
    const bool taken = mReference.Measure(clock, count, Clock::now());
    WakeTimerWhereDue();
    return taken;
}

std::vector<std::uint32_t> Board::TableInUse(std::uint32_t first, std::uint32_t last) const {
    const Lock lock(mMutex);
    const auto begin = mAdma.TableInUse().begin();
    return {begin + first, begin + last + 1};
}

std::optional<std::uint32_t> Board::Hear(std::uint32_t destination) const {
    const Lock lock(mMutex);
    return mAdma.SourceOf(destination);
}

BoardActivity Board::Activity() const {
    const Lock lock(mMutex);
    const TimePoint now = Clock::now();
    BoardActivity activity{{}, 0};
    for (const RegisterBlock* block : mBlocks) {
        activity.mEvents += block->Events();
        if (activity.mBusyWith.empty()) {
            activity.mBusyWith = block->BusyWith(now);
        }
    }
    return activity;
}

std::string Board::StateText() const {
    const Lock lock(mMutex);
    return StateReport({mAdma, mReference, mAdc, mDac, mGpio, mPower, mAdcClocks, mDacClocks, mFirmware,
                        mLinkDriver.GetStates()});
}

void Board::StartTrace(const std::string& path) {
    // Under the lock, for the trace that runs may be writing to the very file that is begun anew.
    const Lock lock(mMutex);
    mTrace = std::make_unique<RegisterTrace>(path);
}

void Board::StopTrace() {
    const Lock lock(mMutex);
    mTrace.reset();
}

std::vector<std::string> Board::Violations() const {
    const Lock lock(mMutex);
    return mViolations.Reports();
}

std::uint32_t Board::Read(RegisterBlock& block, std::uint32_t offset) {
    const Lock lock(mMutex);
    const std::uint32_t value = block.Read(offset, Clock::now());
    if (mTrace != nullptr) {
        mTrace->Record(block.Identity(), 'R', offset, value);
        mTrace->Flush();
    }
    WakeTimerWhereDue();
    return value;
}

void Board::WriteRun(RegisterBlock& block, std::uint32_t offset, const std::uint32_t* values,
                     std::size_t count) {
    const Lock lock(mMutex);
    const TimePoint now = Clock::now();
    std::for_each(values, values + count,
                  [&block, offset, now](std::uint32_t value) { block.Write(offset, value, now); });
    if (mTrace != nullptr) {
        std::for_each(values, values + count, [this, &block, offset](std::uint32_t value) {
            mTrace->Record(block.Identity(), 'W', offset, value);
        });
        mTrace->Flush();
    }
    WakeTimerWhereDue();
}

RegisterBlock* Board::Find(const std::string& identity) const {
    const auto isAsked = [&identity](const std::string& other) {
        return AreSame(identity, other);
    };
    if (std::any_of(mWithout.begin(), mWithout.end(), isAsked)) {
        return nullptr;
    }
    const auto* const found =
        std::find_if(mBlocks.begin(), mBlocks.end(),
                     [&isAsked](const RegisterBlock* block) { return isAsked(block->Identity()); });
    return found == mBlocks.end() ? nullptr : *found;
}

TimePoint Board::NextDeadline() const {
    return std::min(mAdma.Deadline(), mReference.Deadline());
}

void Board::WakeTimerWhereDue() {
    if (NextDeadline() < mTimerSleepsUntil) {
        mTimerWake.notify_one();
    }
}

void Board::RunTimer() {
    constexpr std::chrono::seconds kLongestSleep{1};
    Lock lock(mMutex);
    while (!mStopping) {
        mTimerSleepsUntil = std::min(NextDeadline(), Clock::now() + kLongestSleep);
        mTimerWake.wait_until(lock, mTimerSleepsUntil);
        const TimePoint now = Clock::now();
        for (RegisterBlock* block : mBlocks) {
            block->OnDeadline(now);
        }
    }
}

}  // namespace sim
