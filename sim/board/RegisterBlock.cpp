#include "RegisterBlock.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

#include "ViolationLog.h"

namespace sim {

/// A direct register: the operations that it has are the directions in which it may be accessed.
struct RegisterBlock::DirectRegister {
    std::uint32_t mOffset;
    const char* mName;
    std::uint32_t (RegisterBlock::*mRead)() const;
    void (RegisterBlock::*mAfterRead)(TimePoint now);
    void (RegisterBlock::*mWrite)(std::uint32_t value, TimePoint now);
};

const RegisterBlock::DirectRegister RegisterBlock::kDirectRegisters[] = {
    {0x04, "identity byte", &RegisterBlock::IdentityByte, nullptr, nullptr},
    {0x18, "interrupt status", &RegisterBlock::InterruptStatus, nullptr, nullptr},
    {0x20, "indirect data", &RegisterBlock::ReadData, &RegisterBlock::AfterDataRead,
     &RegisterBlock::WriteData},
    {0x24, "indirect address", nullptr, nullptr, &RegisterBlock::WriteAddress},
    {0x30, "interrupt enable", nullptr, nullptr, &RegisterBlock::WriteEnable},
    {0x34, "interrupt acknowledge", &RegisterBlock::ReadAcknowledge, nullptr,
     &RegisterBlock::WriteAcknowledge},
    {0x38, "control", nullptr, nullptr, &RegisterBlock::WriteControl},
    {0x3C, "status", &RegisterBlock::Status, nullptr, nullptr},
};

RegisterBlock::RegisterBlock(std::string identity, std::uint32_t identityByte, ViolationLog& violations)
    : mIdentity(std::move(identity)), mIdentityByte(identityByte), mViolations(violations) {
    for (const MapPlacement& map : MapsOf(mIdentity)) {
        AddMap(map);
    }
}

void RegisterBlock::AddMap(const MapPlacement& map) {
    for (const WordDeclaration& word : map) {
        const std::uint32_t first = map.mBase + word.mOffset;
        std::size_t storage = mValues.size();
        if (word.mActsOn == word.mOffset) {
            mValues.resize(mValues.size() + word.mCount, word.mReset);
        } else {
            const std::uint32_t target = map.mBase + word.mActsOn;
            storage = FindRange(target)->StorageOf(target);
        }
        mRanges.push_back({first, word.mCount, word.mAccess, storage, word.mName});
    }
}

std::uint32_t RegisterBlock::Read(std::uint32_t offset, TimePoint now) {
    const DirectRegister* const found = FindDirect(offset);
    if (found == nullptr || found->mRead == nullptr) {
        ReportDirect("read", offset, found);
        return 0;
    }
    const std::uint32_t value = (this->*found->mRead)();
    if (found->mAfterRead != nullptr) {
        (this->*found->mAfterRead)(now);
    }
    return value;
}

void RegisterBlock::Write(std::uint32_t offset, std::uint32_t value, TimePoint now) {
    const DirectRegister* const found = FindDirect(offset);
    if (found == nullptr || found->mWrite == nullptr) {
        ReportDirect("write", offset, found);
        return;
    }
    (this->*found->mWrite)(value, now);
}

std::optional<std::uint32_t> RegisterBlock::Peek(std::uint32_t offset) const {
    const DirectRegister* const found = FindDirect(offset);
    if (found == nullptr) {
        return std::nullopt;
    }
    return found->mRead == nullptr ? 0 : (this->*found->mRead)();
}

std::optional<std::uint32_t> RegisterBlock::Word(std::uint32_t address) const {
    const WordRange* const range = FindRange(address);
    if (range == nullptr) {
        return std::nullopt;
    }
    return mValues[range->StorageOf(address)];
}

bool RegisterBlock::SetWord(std::uint32_t address, std::uint32_t value) {
    const WordRange* const range = FindRange(address);
    if (range == nullptr) {
        return false;
    }
    mValues[range->StorageOf(address)] = value;
    return true;
}

void RegisterBlock::Raise(unsigned id) {
    CountEvent();
    const std::uint32_t bit = std::uint32_t{1} << id;
    mPending |= bit;
    SignalWhereOnLine(bit);
}

std::string RegisterBlock::BusyWith(TimePoint /*now*/) const {
    const std::uint32_t line = Line();
    if (line == 0) {
        return {};
    }
    unsigned id = 0;
    while ((line >> id & 1) == 0) {
        ++id;
    }
    return "interrupt " + std::to_string(id) + " of " + mIdentity + " is pending";
}

void RegisterBlock::SignalWhereOnLine(std::uint32_t ids) {
    if ((Line() & ids) != 0) {
        mPipe.Signal();
    }
}

bool RegisterBlock::WordRange::Holds(std::uint32_t address) const {
    return address >= mFirst && (address - mFirst) / 4 < mCount && address % 4 == 0;
}

const RegisterBlock::DirectRegister* RegisterBlock::FindDirect(std::uint32_t offset) {
    const auto* const found =
        std::find_if(std::begin(kDirectRegisters), std::end(kDirectRegisters),
                     [offset](const DirectRegister& direct) { return direct.mOffset == offset; });
    return found == std::end(kDirectRegisters) ? nullptr : found;
}

const RegisterBlock::WordRange* RegisterBlock::FindRange(std::uint32_t address) const {
    const auto found = std::find_if(mRanges.begin(), mRanges.end(),
                                    [address](const WordRange& range) { return range.Holds(address); });
    return found == mRanges.end() ? nullptr : &*found;
}

std::uint32_t RegisterBlock::ReadData() const {
    const WordRange* const range = FindRange(mAddress);
    return range != nullptr && range->IsReadable() ? mValues[range->StorageOf(mAddress)] : 0;
}

void RegisterBlock::AfterDataRead(TimePoint now) {
    const WordRange* const range = FindRange(mAddress);
    if (range == nullptr || !range->IsReadable()) {
        ReportInternal("read", range);
        return;
    }
    OnWordRead(mAddress, now);
}

void RegisterBlock::WriteData(std::uint32_t value, TimePoint now) {
    const std::uint32_t address = mAddress;
    const WordRange* const range = FindRange(address);
    if (range == nullptr || range->mAccess == WordAccess::Read) {
        ReportInternal("write", range);
        mAddress += 4;
        return;
    }
    mAddress += 4;
    std::uint32_t& word = mValues[range->StorageOf(address)];
    switch (range->mAccess) {
        case WordAccess::SetBits:
            word |= value;
            break;
        case WordAccess::ClearBits:
            word &= ~value;
            break;
        default:
            word = value;
            break;
    }
    OnWordWritten(address, now);
}

void RegisterBlock::WriteAddress(std::uint32_t value, TimePoint /*now*/) {
    mAddress = value;
}

void RegisterBlock::WriteEnable(std::uint32_t value, TimePoint /*now*/) {
    const std::uint32_t newlyEnabled = value & ~mEnabled;
    mEnabled = value;
    SignalWhereOnLine(newlyEnabled);
}

void RegisterBlock::WriteAcknowledge(std::uint32_t value, TimePoint now) {
    const std::uint32_t acknowledged = mPending & value;
    mPending &= ~value;
    OnAcknowledged(acknowledged, now);
}

void RegisterBlock::WriteControl(std::uint32_t value, TimePoint now) {
    const std::uint32_t before = mControl;
    mControl = value;
    OnControl(before, now);
}

void RegisterBlock::ReportDirect(const char* action, std::uint32_t offset, const DirectRegister* found) {
    char text[160];
    if (found == nullptr) {
        std::snprintf(text, sizeof text, "%s: %s of offset 0x%02x, where there is no register",
                      mIdentity.c_str(), action, offset);
    } else {
        std::snprintf(text, sizeof text, "%s: %s of register 0x%02x (%s), which is %s only",
                      mIdentity.c_str(), action, offset, found->mName,
                      found->mRead == nullptr ? "write" : "read");
    }
    mViolations.Report(text);
}

void RegisterBlock::ReportInternal(const char* action, const WordRange* found) {
    char text[160];
    if (found == nullptr) {
        std::snprintf(text, sizeof text, "%s: %s of internal address 0x%x, where there is no word",
                      mIdentity.c_str(), action, mAddress);
    } else {
        std::snprintf(text, sizeof text, "%s: %s of internal address 0x%x (%s), which is %s only",
                      mIdentity.c_str(), action, mAddress, found->mName,
                      found->IsReadable() ? "read" : "write");
    }
    mViolations.Report(text);
}

}  // namespace sim
