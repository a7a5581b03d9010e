#include "Interruptable.h"

#include <bitset>
#include <stdexcept>
#include <string>

#include "Registers.h"

namespace fsi {

Interruptable::Interruptable(HostFsi& fsi, const std::vector<unsigned>& ids) : mFsi(fsi) {
    std::bitset<32> mask;
    for (const unsigned id : ids) {
        mask.set(id);
        mEntries.push_back({id, std::make_shared<Signal>()});
    }
    mMask = static_cast<std::uint32_t>(mask.to_ulong());
    mFsi.Write(registers::kInterruptEnable, mMask);
}

Interruptable::~Interruptable() {
    mFsi.Write(registers::kInterruptEnable, 0);
}

boost::signals2::connection Interruptable::Connect(unsigned id, const std::function<void()>& slot) {
    for (const Entry& entry : mEntries) {
        if (entry.mId == id) {
            return entry.mSignal->connect(slot);
        }
    }
    throw std::invalid_argument("FSI '" + mFsi.Identity() + "' has no interrupt " + std::to_string(id));
}

void Interruptable::SetIdEnabled(unsigned id, bool enabled) {
    const std::uint32_t bit = std::uint32_t{1} << id;
    mMask = enabled ? mMask | bit : mMask & ~bit;
    mFsi.Write(registers::kInterruptEnable, mMask);
}

void Interruptable::HandleInterrupts() {
    const std::uint32_t pending = mFsi.Read(registers::kInterruptStatus);
    for (const Entry& entry : mEntries) {
        const std::uint32_t bit = std::uint32_t{1} << entry.mId;
        if ((pending & bit) == 0) {
            continue;
        }
        mFsi.Write(registers::kInterruptAcknowledge, mFsi.Read(registers::kInterruptAcknowledge) | bit);
        if (mEnabled) {
            (*entry.mSignal)();
        }
    }
}

}  // namespace fsi
