#include "AudioDmaManager.h"

#include <algorithm>
#include <utility>

#include "Audit.h"
#include "TransactionWord.h"

namespace audio {

namespace {

void LogNoDestination(std::uint16_t destination) {
    AUDIT(Feature::Fault, "Brindlet: FAULT - destination %x isn't in the transaction table, route ignored\n",
          destination);
}

}  // namespace

AudioDmaManager::AudioDmaManager(const fsi::DeviceRegistry* registry, std::shared_ptr<AudioDmaFsi> fsi)
    : DeviceRegistryView<AudioDmaEndpoint>(registry),
      mFsi(std::move(fsi)),
      mSources(AudioDmaFsi::kTableSize, 0),
      mDestinations(AudioDmaFsi::kTableSize, 0) {}

AudioDmaManager::~AudioDmaManager() {
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mRunning = false;
    }
    mChanged.notify_all();
    if (mSyncThread.joinable()) {
        mSyncThread.join();
    }
}

void AudioDmaManager::SetEndpoints(const Endpoints& endpoints) {
    for (const auto& endpoint : endpoints) {
        if (!endpoint->HasAddress()) {
            AUDIT(Feature::Fault, "Brindlet: FAULT - ADMA endpoint id %u is out of range, endpoint ignored\n",
                  endpoint->Id());
        }
        if (endpoint->IsSink()) {
            AddSink(endpoint);
        }
        if (!endpoint->IsSource()) {
            continue;
        }
        mSourceEndpoints.insert(endpoint);
        for (const auto& sink : endpoints) {
            if (sink->IsSink()) {
                endpoint->AddDefaultRoute(*sink);
            }
        }
    }
    Start();
}

void AudioDmaManager::AddSink(const std::shared_ptr<AudioDmaEndpoint>& endpoint) {
    const std::vector<std::uint16_t>& words = endpoint->SinkWords();
    if (words.size() > mDestinations.size() - mUsed) {
        AUDIT(Feature::Fault, "Brindlet: FAULT - no room for ADMA endpoint %u in the transaction table\n",
              endpoint->Id());
        return;
    }
    std::copy(words.begin(), words.end(), mDestinations.begin() + static_cast<std::ptrdiff_t>(mUsed));
    mUsed += words.size();
    mSinkEndpoints.insert(endpoint);
}

void AudioDmaManager::Start() {
    mEndOfSyncConnection =
        mFsi->Connect(AudioDmaFsi::kEndOfSync, [weak = std::weak_ptr<AudioDmaManager>(shared_from_this())] {
            if (const auto manager = weak.lock()) {
                manager->OnEndOfSync();
            }
        });
    {
        // A change-over that an earlier process has left running is waited for like one of our own.
        const std::lock_guard<std::mutex> lock(mMutex);
        mIdle = !mFsi->IsSyncing();
        mRunning = true;
    }
    mSyncThread = std::thread([this] { RunSyncs(); });
    Sync();
}

void AudioDmaManager::RunSyncs() {
    std::unique_lock<std::mutex> lock(mMutex);
    while (true) {
        mChanged.wait(lock, [this] { return !mRunning || (mSyncRequested && mIdle); });
        if (!mRunning) {
            return;
        }
        // Under the lock, or a reset and its end of sync could both come in between and leave this request
        // unseen.
        mSyncRequested = false;
        mIdle = false;
        mFsi->RequestSync();
    }
}

void AudioDmaManager::OnEndOfSync() {
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mFsi->ClearSync();
        mIdle = true;
    }
    mChanged.notify_all();
}

void AudioDmaManager::Request() {
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mSyncRequested = true;
    }
    mChanged.notify_all();
}

std::size_t AudioDmaManager::SetAudioRoute(const std::uint16_t& src, const std::uint16_t& dst) {
    AUDIT(Feature::Information, "SetAudioRoute Src %x Dst %x\n", src, dst);
    const std::size_t position = PositionOfWord(dst);
    if (position < mSources.size()) {
        mSources[position] = src;
    } else {
        LogNoDestination(dst);
    }
    return position * sizeof(std::uint16_t);
}

void AudioDmaManager::ClearSources() {
    std::fill(mSources.begin(), mSources.end(), 0);
}

void AudioDmaManager::SetSources(const std::vector<std::uint16_t>& sinkWords,
                                 const std::vector<std::uint16_t>& sourceWords) {
    std::vector<std::uint16_t> sources = mSources;
    const std::size_t count = std::min(sinkWords.size(), sourceWords.size());
    std::size_t base = 0;
    for (std::size_t index = 0; index < count; ++index) {
        const unsigned address = AddressOf(sinkWords[index]);
        if (index == 0 || address != AddressOf(sinkWords[index - 1])) {
            base = PositionOfWord(EndpointWord(address, 0));
        }
        const std::size_t position = base + SampleOf(sinkWords[index]);
        if (position < mUsed && mDestinations[position] == sinkWords[index]) {
            sources[position] = sourceWords[index];
        } else {
            LogNoDestination(sinkWords[index]);
        }
    }
    mSources.swap(sources);
}

void AudioDmaManager::SetSinkSources(const AudioDmaEndpoint& sink, const std::vector<std::uint16_t>& words) {
    const std::size_t position = PositionOf(sink);
    if (position >= mSources.size()) {
        LogNoDestination(sink.Word(0));
        return;
    }
    const std::size_t count = std::min<std::size_t>(words.size(), sink.SampleCount());
    std::copy_n(words.begin(), count, mSources.begin() + static_cast<std::ptrdiff_t>(position));
}

void AudioDmaManager::ApplyRoute(AudioDmaEndpoint& source, const AudioDmaEndpoint& sink,
                                 const RouteMode& mode) {
    const AudioDmaEndpoint::Route& route = source.CurrentRoute(sink);
    const std::size_t position = PositionOf(sink) + mode.mSinkOffset;
    if (mode.mSinkOffset >= sink.SampleCount() || position >= mDestinations.size()) {
        LogNoDestination(sink.Word(mode.mSinkOffset));
        return;
    }
    const std::size_t room = sink.SampleCount() - mode.mSinkOffset;
    if (mode.mKind == RouteMode::Kind::InOrder) {
        const std::size_t first = std::min<std::size_t>(mode.mListOffset, route.size());
        std::copy_n(route.begin() + static_cast<std::ptrdiff_t>(first), std::min(route.size() - first, room),
                    mSources.begin() + static_cast<std::ptrdiff_t>(position));
        return;
    }
    for (const std::uint16_t word : route) {
        if (SampleOf(word) < room) {
            mSources[position + SampleOf(word)] = word;
        }
    }
}

void AudioDmaManager::ClearSourcesFrom(const AudioDmaEndpoint& source) {
    std::replace_if(
        mSources.begin(), mSources.end(),
        [&source](std::uint16_t word) { return AddressOf(word) == source.Id(); }, std::uint16_t{0});
}

void AudioDmaManager::Sync() {
    mFsi->WriteTable(mDestinations, mSources);
    Request();
}

void AudioDmaManager::ResetFsi() {
    mFsi->WriteIdleTable();
    {
        // In a change-over the bit may be up already, and its setting go unseen: the sync thread asks once
        // more then. Otherwise this request counts as in hand, lest the thread's next one meets the bit up.
        const std::lock_guard<std::mutex> lock(mMutex);
        mSyncRequested = mSyncRequested || !mIdle;
        mIdle = false;
        mFsi->RequestSync();
    }
    ClearSources();
}

std::size_t AudioDmaManager::PositionOf(const AudioDmaEndpoint& sink) const {
    return sink.IsSink() ? PositionOfWord(sink.Word(0)) : mDestinations.size();
}

std::size_t AudioDmaManager::PositionOfWord(std::uint16_t destination) const {
    const auto end = mDestinations.begin() + static_cast<std::ptrdiff_t>(mUsed);
    const auto found = std::find(mDestinations.begin(), end, destination);
    return found != end ? static_cast<std::size_t>(found - mDestinations.begin()) : mDestinations.size();
}

}  // namespace audio
