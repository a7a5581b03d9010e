#pragma once

#include <array>
#include <boost/noncopyable.hpp>
#include <boost/signals2/connection.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "IoCard.h"

class TalvoRouterComms;
struct IoOutputMuteCmd;
struct IoSetInputParams;
struct IoSetOutputGain;
struct PortBitmapCmd;

namespace audio {
class AudioDmaManager;
class ExternalClockManager;
class T2FsiLink;
}  // namespace audio

namespace TalvoBrindlet {

class BrindletStatusManager;

/// The one place where router commands, typed commands and link and clock events become changes of the card
/// and of the audio routing. Owned by the device controller, which it asks for the mode, the rate and the
/// state of the links; it keeps none of these itself. Event loop only.
///
/// A handler that doesn't apply in the present mode logs so and does nothing. `fromSecondary` is not 0 for
/// what came from the secondary router.
class TalvoPortManager : private boost::noncopyable {
  public:
    /// `owner` outlives this. The card may be null.
    TalvoPortManager(const BrindletStatusManager* owner, std::shared_ptr<audio::AudioDmaManager> dmaManager,
                     std::shared_ptr<audio::ExternalClockManager> clockManager,
                     std::shared_ptr<audio::T2FsiLink> primaryLink,
                     std::shared_ptr<audio::T2FsiLink> secondaryLink, std::shared_ptr<IoCard> card);
    ~TalvoPortManager();

    /// Subscribes to the routers' commands.
    void StartMonitoringRouterCommands(TalvoRouterComms& comms);

    void HandleSetInputParams(const std::shared_ptr<const IoSetInputParams>& command,
                              unsigned long fromSecondary);
    void HandleSetOutputGain(const std::shared_ptr<const IoSetOutputGain>& command,
                             unsigned long fromSecondary);
    void HandlePortBitmap(const std::shared_ptr<const PortBitmapCmd>& command, unsigned long fromSecondary);
    void HandleOutputMute(const std::shared_ptr<const IoOutputMuteCmd>& command, unsigned long fromSecondary);

    /// The owner has a new active link in place of `previous`.
    void HandleActiveRouterChange(std::int32_t previous);

    /// The owner has a new state of a link.
    void HandleLinkStatusChange();

    /// Moves card, links and routes to a rate, with the converters in reset meanwhile.
    void HandleSampleRate(SampleRates::SystemSampleRates rate);

    /// Plays the inputs on the outputs, or ends that. Always 0.
    int ConfigureLoopback(bool on);

    void HandleClockSourceChanged(std::uint32_t id);

    /// cB; 0 for a port that isn't there.
    std::int32_t GetOutputGain(std::int16_t portId) const;
    bool GetOutputMute(std::int16_t portId) const;
    std::vector<IoCardInfo> GetIoCardInfo() const;

    /// The port table, for reading; empty without a card.
    std::string GetPortReport() const;

    /// In words, as the log has it.
    static const char* ActiveRouterText(std::int32_t active);

  private:
    bool IsTalvo2() const;
    void SetSampleRate(audio::FrequencyScaler scaler, SampleRates::SystemSampleRates rate);
    void RouteInputsToLinks();
    void ApplyInputParams(const IoSetInputParams& command, InputPort& port);
    void UpdateClockReferences(std::int32_t previous, std::int32_t active);
    void FollowClockOf(const audio::T2FsiLink& link, const char* name);
    bool IsClockStable(const audio::T2FsiLink& link) const;

    const BrindletStatusManager* mOwner;
    std::shared_ptr<audio::AudioDmaManager> mDmaManager;
    std::shared_ptr<audio::ExternalClockManager> mClockManager;
    std::shared_ptr<audio::T2FsiLink> mPrimaryLinkEndpoint;
    std::shared_ptr<audio::T2FsiLink> mSecondaryLinkEndpoint;
    std::shared_ptr<IoCard> mCard;
    std::array<boost::signals2::scoped_connection, 4> mCommandConnections;
    boost::signals2::scoped_connection mClockConnection;
};

}  // namespace TalvoBrindlet
