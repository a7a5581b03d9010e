#pragma once

#include <boost/signals2/connection.hpp>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "AudioDmaEndpoint.h"
#include "AudioDmaFsi.h"
#include "DeviceRegistryView.h"

namespace audio {

/// The wanted transaction table, and the handshake by which the FPGA changes over to it. Owned by the device
/// controller, by shared ownership.
///
/// All operations are for the event loop. A thread of the manager's own asks for one change-over at a time;
/// the end-of-sync interrupt, on the event loop, lets it ask for the next. Requests meanwhile fold into one,
/// which takes the table as last written. Nothing in the handshake times out.
class AudioDmaManager : public std::enable_shared_from_this<AudioDmaManager>,
                        public fsi::DeviceRegistryView<AudioDmaEndpoint> {
  public:
    using Endpoints = std::vector<std::shared_ptr<AudioDmaEndpoint>>;
    using EndpointSet = std::set<std::shared_ptr<AudioDmaEndpoint>>;

    /// How ApplyRoute places a route.
    struct RouteMode {
        enum class Kind : std::uint32_t {
            BySample = 0,  ///< each word at its own sample number
            InOrder = 1,   ///< the words one after the other
        };

        Kind mKind = Kind::InOrder;
        unsigned mSinkOffset = 0;  ///< first sample of the sink that is written
        unsigned mListOffset = 0;  ///< first position of the route that is read, where in order
    };

    /// Sees the endpoints that `registry` holds now.
    AudioDmaManager(const fsi::DeviceRegistry* registry, std::shared_ptr<AudioDmaFsi> fsi);
    AudioDmaManager(const AudioDmaManager&) = delete;
    AudioDmaManager& operator=(const AudioDmaManager&) = delete;

    /// Joins the sync thread, which is never held up by the FPGA.
    virtual ~AudioDmaManager();

    /// Lays the table out, sinks in the order of `endpoints`, adds their default routes and starts the
    /// handshake. Called once, on a manager that is held by a shared pointer. An endpoint whose id is above
    /// 7, or whose samples have no room left in the table, is logged and left out.
    virtual void SetEndpoints(const Endpoints& endpoints);

    /// Routes the source word `src` to the destination word `dst`, without a sync. Returns the position in
    /// bytes. A destination that isn't in the table is logged and ignored; the position is then the table's
    /// end.
    virtual std::size_t SetAudioRoute(const std::uint16_t& src, const std::uint16_t& dst);

    /// Silences every destination, without a sync.
    void ClearSources();

    /// Routes sourceWords[n] to sinkWords[n], without a sync. The sink words ascend; both have the same
    /// length. Words that aren't in the table are logged and ignored.
    void SetSources(const std::vector<std::uint16_t>& sinkWords,
                    const std::vector<std::uint16_t>& sourceWords);

    /// Routes words[n] to the sink's sample n, without a sync. A sink that isn't in the table is logged and
    /// ignored.
    void SetSinkSources(const AudioDmaEndpoint& sink, const std::vector<std::uint16_t>& words);

    /// Copies the source's present route towards the sink into the table, without a sync.
    void ApplyRoute(AudioDmaEndpoint& source, const AudioDmaEndpoint& sink, const RouteMode& mode);

    /// Silences every destination that this endpoint feeds, without a sync.
    void ClearSourcesFrom(const AudioDmaEndpoint& source);

    /// Writes the table to the FPGA and has it changed over to.
    void Sync();

    /// Writes an idle table and asks for the change-over at once, past the sync thread, for an operator who
    /// frees a stuck handshake. The wanted routes are cleared; the destinations return with the next Sync.
    void ResetFsi();

    /// The position of an endpoint's first sample in the table; the table's length where it isn't a sink.
    std::size_t PositionOf(const AudioDmaEndpoint& sink) const;

    const std::vector<std::uint16_t>& Sources() const { return mSources; }
    const std::vector<std::uint16_t>& Destinations() const { return mDestinations; }
    AudioDmaFsi& Fsi() const { return *mFsi; }
    const EndpointSet& SourceEndpoints() const { return mSourceEndpoints; }
    const EndpointSet& SinkEndpoints() const { return mSinkEndpoints; }

  private:
    void AddSink(const std::shared_ptr<AudioDmaEndpoint>& endpoint);
    void Start();
    void RunSyncs();
    void OnEndOfSync();
    void Request();
    std::size_t PositionOfWord(std::uint16_t destination) const;

    std::shared_ptr<AudioDmaFsi> mFsi;
    std::vector<std::uint16_t> mSources;
    std::vector<std::uint16_t> mDestinations;
    std::size_t mUsed = 0;  ///< destinations in use; the rest are idle, and 0 there is no endpoint word
    EndpointSet mSourceEndpoints;
    EndpointSet mSinkEndpoints;
    boost::signals2::scoped_connection mEndOfSyncConnection;

    std::mutex mMutex;  ///< guards the three flags, and each request for a change-over with them
    std::condition_variable mChanged;
    bool mRunning = false;
    bool mSyncRequested = false;
    bool mIdle = false;  ///< no change-over is under way that an end of sync is awaited for

    std::thread mSyncThread;
};

}  // namespace audio
