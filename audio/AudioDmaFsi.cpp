#include "AudioDmaFsi.h"

#include <algorithm>

#include "Registers.h"
#include "TransactionWord.h"

namespace audio {

namespace {

constexpr std::uint32_t kTableAddress = 0xC0000;

constexpr std::uint32_t kNoMuteOnPllLoss = 0x08;
constexpr std::uint32_t kForceMute = 0x10;
constexpr std::uint32_t kSyncRequest = 0x20;

constexpr std::uint32_t kSyncInProgress = 0x08;

}  // namespace

AudioDmaFsi::AudioDmaFsi(fsi::IFsiBus& bus) : HostFsi(bus, "0003", 0), Interruptable(*this, {kEndOfSync}) {}

void AudioDmaFsi::WriteTable(const std::vector<std::uint16_t>& destinations,
                             const std::vector<std::uint16_t>& sources) {
    const std::lock_guard<std::mutex> lock(mTableMutex);
    std::transform(destinations.begin(), destinations.begin() + kTableSize, sources.begin(), mShadow.begin(),
                   TransactionWord);
    WriteShadow();
}

void AudioDmaFsi::WriteIdleTable() {
    const std::lock_guard<std::mutex> lock(mTableMutex);
    std::fill(mShadow.begin(), mShadow.end(), 0);
    WriteShadow();
}

void AudioDmaFsi::WriteShadow() {
    WriteInternal(kTableAddress, mShadow.data(), mShadow.size());
}

void AudioDmaFsi::RequestSync() {
    const std::lock_guard<std::mutex> lock(mTableMutex);
    SetControl(kSyncRequest);
    mSynced = mShadow;
}

void AudioDmaFsi::ClearSync() {
    ClearControl(kSyncRequest);
}

bool AudioDmaFsi::IsSyncing() const {
    return (Read(fsi::registers::kStatus) & kSyncInProgress) != 0;
}

void AudioDmaFsi::SetMute(bool mute) {
    mute ? SetControl(kForceMute) : ClearControl(kForceMute);
}

void AudioDmaFsi::SetMuteOnPllLoss(bool mute) {
    mute ? ClearControl(kNoMuteOnPllLoss) : SetControl(kNoMuteOnPllLoss);
}

std::vector<std::uint32_t> AudioDmaFsi::Shadow() const {
    const std::lock_guard<std::mutex> lock(mTableMutex);
    return mShadow;
}

std::vector<std::uint32_t> AudioDmaFsi::Synced() const {
    const std::lock_guard<std::mutex> lock(mTableMutex);
    return mSynced;
}

}  // namespace audio
