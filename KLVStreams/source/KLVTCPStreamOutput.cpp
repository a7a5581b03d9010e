// What a stream gathers before it goes out.

#include <algorithm>
#include <cstring>

#include "Audit.h"
#include "EventTimerManager.h"
#include "KLVTCPStream.h"

namespace {

constexpr const char* kCoalesceStates[] = {"None", "Fixed", "Mtu"};

}  // namespace

bool KLVTCPStream::WriteData(const void* buffer, std::size_t size) {
    const char* const bytes = static_cast<const char*>(buffer);
    if (mCoalesceState == CoalesceState::None || mCoalesceSize == 0) {
        SendBuf(bytes, size);
        return true;
    }
    ++mCoalesceMessages;
    std::size_t done = 0;
    while (done < size) {
        const std::size_t part = std::min(size - done, mCoalesceSize - mCoalesceUsed);
        std::memcpy(mCoalesceBuffer.data() + mCoalesceUsed, bytes + done, part);
        mCoalesceUsed += part;
        done += part;
        if (mCoalesceUsed == mCoalesceSize) {
            AUDIT(Feature::CommsDebug, "%p %zu bytes sent together (%zu messages)\r\n",
                  static_cast<void*>(this), mCoalesceUsed, mCoalesceMessages);
            Flush();
        }
    }
    if (mCoalesceUsed != 0) {
        EventTimerManager::Instance().Start(mCoalesceTimer);
    }
    return true;
}

void KLVTCPStream::Flush() {
    if (mCoalesceUsed > 0) {
        SendBuf(mCoalesceBuffer.data(), mCoalesceUsed);
    }
    mCoalesceUsed = 0;
    EventTimerManager::Instance().Cancel(mCoalesceTimer->Id());
    mCoalesceMessages = 0;
}

void KLVTCPStream::Commit() {
    if (mCoalesceState == CoalesceState::None) {
        return;
    }
    AUDIT(Feature::CommsDebug, "%p %zu bytes sent on Commit (%zu messages)\r\n", static_cast<void*>(this),
          mCoalesceUsed, mCoalesceMessages);
    Flush();
}

void KLVTCPStream::TimerExpired(IEventTimer& /*timer*/) {
    CoalesceTimerExpired();
}

void KLVTCPStream::CoalesceTimerExpired() {
    if (mCoalesceUsed == 0) {
        return;
    }
    AUDIT(Feature::CommsDebug, "%p %zu bytes sent on timer (%zu messages)\r\n", static_cast<void*>(this),
          mCoalesceUsed, mCoalesceMessages);
    if (mCoalesceState != CoalesceState::None) {
        Flush();
    }
}

void KLVTCPStream::SetCoalesce(std::uint32_t periodMs, std::size_t bufferSize) {
    EventTimerManager& timers = EventTimerManager::Instance();
    if (mCoalesceTimer != nullptr) {
        Flush();
    }
    mCoalesceState = bufferSize == 0 ? CoalesceState::Mtu : CoalesceState::Fixed;
    mCoalesceSize = bufferSize;
    mCoalesceTimer =
        timers.CreateTimer("KLV Coalesce", this, periodMs, false, nullptr, TimerUnit::Milliseconds);
    AUDIT(Feature::CommsDebug, "Stream coalesce: %lu ms, BufferSize=%zu, State:%s\r\n",
          static_cast<unsigned long>(periodMs), bufferSize,
          kCoalesceStates[static_cast<std::size_t>(mCoalesceState)]);
    mCoalesceBuffer.assign(bufferSize, 0);
}
