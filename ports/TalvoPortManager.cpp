#include "TalvoPortManager.h"

#include <utility>

#include "AudioDmaManager.h"
#include "Audit.h"
#include "BrindletStatusManager.h"
#include "DeskCommands.h"
#include "ExternalClockManager.h"
#include "ExternalReferenceFsi.h"
#include "PortReport.h"
#include "T2FsiLink.h"
#include "T2OutputMuteProcessor.h"
#include "T2PortBitmapProcessor.h"
#include "T2RouterChangeProcessor.h"
#include "TalvoRouterComms.h"

namespace TalvoBrindlet {

namespace {

constexpr std::int32_t kPrimary = 0;
constexpr std::int32_t kSecondary = 1;
constexpr std::int32_t kNone = 2;

/// The input control kind whose phantom power is set here.
constexpr std::uint32_t kPhantomInputControlKind = 1;

/// Whole routes, in order.
constexpr audio::AudioDmaManager::RouteMode kWholeRoute{};

const char* UpText(bool isUp) {
    return isUp ? "up" : "down";
}

/// The port at an index, which may be none.
template <class Ports>
typename Ports::value_type PortAt(const Ports& ports, std::size_t index) {
    return index < ports.size() ? ports[index] : nullptr;
}

}  // namespace

TalvoPortManager::TalvoPortManager(const BrindletStatusManager* owner,
                                   std::shared_ptr<audio::AudioDmaManager> dmaManager,
                                   std::shared_ptr<audio::ExternalClockManager> clockManager,
                                   std::shared_ptr<audio::T2FsiLink> primaryLink,
                                   std::shared_ptr<audio::T2FsiLink> secondaryLink,
                                   std::shared_ptr<IoCard> card)
    : mOwner(owner),
      mDmaManager(std::move(dmaManager)),
      mClockManager(std::move(clockManager)),
      mPrimaryLinkEndpoint(std::move(primaryLink)),
      mSecondaryLinkEndpoint(std::move(secondaryLink)),
      mCard(std::move(card)) {
    if (mCard != nullptr) {
        mCard->SetCardNumber(0);
    }
    if (!IsTalvo2()) {
        return;
    }
    AUDIT(Feature::TalvoIoBox, "Brindlet: initialising T2 Port manager to sample rate %s @ %s\n",
          SampleRates::Text(mOwner->GetSampleRate()), audio::Text(mOwner->GetFrequencyScaler()));
    SetSampleRate(mOwner->GetFrequencyScaler(), mOwner->GetSampleRate());
    if (mCard != nullptr) {
        RouteInputsToLinks();
    }
    mClockConnection =
        mClockManager->ClockLocked().connect([this](unsigned id) { HandleClockSourceChanged(id); });
}

TalvoPortManager::~TalvoPortManager() {
    mClockConnection.disconnect();
    for (auto& connection : mCommandConnections) {
        connection.disconnect();
    }
}

bool TalvoPortManager::IsTalvo2() const {
    return mOwner->GetOperatingMode() == OperatingMode::Talvo2;
}

void TalvoPortManager::SetSampleRate(audio::FrequencyScaler scaler, SampleRates::SystemSampleRates rate) {
    if (mCard != nullptr) {
        mCard->SetSampleRate(scaler, rate);
    }
    mPrimaryLinkEndpoint->SetSampleRate(scaler, rate);
    mSecondaryLinkEndpoint->SetSampleRate(scaler, rate);
}

void TalvoPortManager::RouteInputsToLinks() {
    const IoCard::Endpoint adc = mCard->GetAdcEndpoint();
    mDmaManager->ApplyRoute(*adc, *mPrimaryLinkEndpoint, kWholeRoute);
    mDmaManager->ApplyRoute(*adc, *mSecondaryLinkEndpoint, kWholeRoute);
}

void TalvoPortManager::StartMonitoringRouterCommands(TalvoRouterComms& comms) {
    using StreamType = TalvoRouterComms::StreamType;
    TalvoCommandProcessor& processor = comms.Processor();
    mCommandConnections = {
        processor.Register<IoSetInputParams>(IoSetInputParams::kId,
                                             [this](const auto& command, unsigned char port, StreamType) {
                                                 HandleSetInputParams(command, port == kSecondary ? 1 : 0);
                                             }),
        processor.Register<IoOutputMuteCmd>(IoOutputMuteCmd::kId,
                                            [this](const auto& command, unsigned char port, StreamType) {
                                                HandleOutputMute(command, port == kSecondary ? 1 : 0);
                                            }),
        processor.Register<PortBitmapCmd>(PortBitmapCmd::kId,
                                          [this](const auto& command, unsigned char port, StreamType) {
                                              HandlePortBitmap(command, port == kSecondary ? 1 : 0);
                                          }),
        processor.Register<IoSetOutputGain>(IoSetOutputGain::kId,
                                            [this](const auto& command, unsigned char port, StreamType) {
                                                HandleSetOutputGain(command, port == kSecondary ? 1 : 0);
                                            })};
    AUDIT(Feature::TalvoIoBoxVerbose, "Brindlet: Started monitoring for Talvo2 router commands\n");
}

void TalvoPortManager::HandleSetInputParams(const std::shared_ptr<const IoSetInputParams>& command,
                                            unsigned long /*fromSecondary*/) {
    if (command == nullptr) {
        return;
    }
    AUDIT(Feature::TalvoIoBox,
          "Brindlet: received a set input params msg for input port %d , phantom power %s, input gain %ld, "
          "Enables %d\n",
          int{command->mPort}, command->mPhantomPower != 0 ? "On" : "Off", long{command->mGain},
          int{command->mEnables});
    if (!IsTalvo2()) {
        AUDIT(
            Feature::Fault,
            "Brindlet: ERROR - trying to handle a Talvo 2 input params msg for input port %d when operating "
            "in AoIP mode\n",
            int{command->mPort});
        return;
    }
    if (mCard == nullptr) {
        return;
    }
    AUDIT(Feature::TalvoIoBoxVerbose, "Brindlet: processing input params msg\n");
    const auto port = PortAt(mCard->InputPorts(), command->mPort);
    if (port == nullptr) {
        AUDIT(Feature::Fault, "Brindlet: ERROR - no Talvo Input port found for Talvo port ID %d\n",
              int{command->mPort});
        return;
    }
    ApplyInputParams(*command, *port);
}

void TalvoPortManager::ApplyInputParams(const IoSetInputParams& command, InputPort& port) {
    if ((command.mEnables & IoSetInputParams::kEnablePhantomPower) != 0 &&
        mCard->GetKinds().mInputControl == kPhantomInputControlKind) {
        const bool isOn = command.mPhantomPower != 0;
        AUDIT(Feature::TalvoIoBoxVerbose, "Brindlet: T2 command to set phantom power for port %d to %s\n",
              int{command.mPort}, isOn ? "on" : "off");
        port.SetPhantomPower(isOn);
    }
    if ((command.mEnables & IoSetInputParams::kEnableGain) != 0) {
        AUDIT(Feature::TalvoIoBoxVerbose, "Brindlet: T2 command to set input gain for port %d to %ld\n",
              int{command.mPort}, long{command.mGain});
        port.SetCoarseGain(static_cast<std::int16_t>(command.mGain), command.mOperatingLevel,
                           command.mMicHeadroom);
    }
    if ((command.mEnables & IoSetInputParams::kEnableImpedance) != 0) {
        AUDIT(Feature::TalvoIoBoxVerbose, "Brindlet: T2 command to set input impedance for port %d to %d\n",
              int{command.mPort}, int{command.mImpedance});
        port.SetInputImpedance(command.mImpedance);
    }
}

void TalvoPortManager::HandleSetOutputGain(const std::shared_ptr<const IoSetOutputGain>& command,
                                           unsigned long /*fromSecondary*/) {
    if (!IsTalvo2()) {
        AUDIT(Feature::Fault,
              "Brindlet: ERROR - trying to process a Talvo 2 set output gain command when operating in AoIP "
              "mode\n");
        return;
    }
    if (command == nullptr || mCard == nullptr) {
        return;
    }
    const auto port = PortAt(mCard->OutputPorts(), command->mPort);
    if (port == nullptr) {
        AUDIT(Feature::Fault, "Brindlet: ERROR - no Talvo Output port found for Talvo port ID %d\n",
              int{command->mPort});
        return;
    }
    if (port->SetGain(command->mGain)) {
        AUDIT(Feature::TalvoIoBox, "Brindlet: received command to set output gain to %ld cB for port %d\n ",
              long{command->mGain}, int{command->mPort});
    } else {
        AUDIT(Feature::Fault,
              "Brindlet: ERROR - Port Mgr failed to process the set output gain command for port %d\n",
              int{command->mPort});
    }
}

void TalvoPortManager::HandlePortBitmap(const std::shared_ptr<const PortBitmapCmd>& command,
                                        unsigned long fromSecondary) {
    if (!IsTalvo2()) {
        AUDIT(Feature::Fault,
              "Brindlet: ERROR - trying to process a Talvo 2 output bitmap when operating in AoIP mode\n");
        return;
    }
    if (command == nullptr) {
        return;
    }
    const char* const router = fromSecondary != 0 ? "T2 Sec" : "T2 Pri";
    AUDIT(Feature::TalvoIoBox, "Brindlet: processing a Talvo2 output port bitmap from %s with %lu entries \n",
          router, static_cast<unsigned long>(command->mEntries.size()));
    if (mCard == nullptr) {
        return;
    }
    T2PortBitmapProcessor processor(mDmaManager, mPrimaryLinkEndpoint, mSecondaryLinkEndpoint,
                                    mOwner->IsPrimaryLinkUp(), mOwner->IsSecondaryLinkUp(), *command,
                                    mOwner->GetFrequencyScaler(), mOwner->GetSampleRate());
    if (!processor.Apply(*mCard)) {
        AUDIT(Feature::Fault,
              "Brindlet: ERROR - failed to process the port bitmap command from the %s router\n", router);
    }
}

void TalvoPortManager::HandleOutputMute(const std::shared_ptr<const IoOutputMuteCmd>& command,
                                        unsigned long /*fromSecondary*/) {
    if (!IsTalvo2()) {
        AUDIT(Feature::Fault,
              "Brindlet: ERROR- trying to handle the Talvo 2 output mute for output port %d when in AoIP "
              "operating mode\n",
              command != nullptr ? int{command->mPort} : -1);
        return;
    }
    if (command == nullptr || mCard == nullptr) {
        return;
    }
    AUDIT(Feature::TalvoIoBoxVerbose, "Brindlet: received a Talvo 2 command to set output port %d to %s\n",
          int{command->mPort}, command->mMute != 0 ? "muted" : "unmuted");
    T2OutputMuteProcessor processor(mDmaManager, mPrimaryLinkEndpoint, mSecondaryLinkEndpoint,
                                    mOwner->GetFrequencyScaler(), mOwner->GetSampleRate(), *command);
    if (!processor.Apply(*mCard)) {
        AUDIT(
            Feature::Fault,
            "Brindlet: INFO - the mute status command for port %d was not processed or the ADMA routing was "
            "not updated\n",
            int{command->mPort});
    }
}

void TalvoPortManager::HandleActiveRouterChange(std::int32_t previous) {
    if (!IsTalvo2()) {
        AUDIT(Feature::Fault,
              "Brindlet: ERROR - trying to configure Talvo 2 adma routing when in operating AoIP mode\n");
        return;
    }
    const std::int32_t active = mOwner->GetActiveLink();
    AUDIT(Feature::TalvoIoBox, "Brindlet: handling active router change from %s, to %s\n",
          ActiveRouterText(previous), ActiveRouterText(active));
    if (mCard == nullptr) {
        AUDIT(Feature::Fault,
              "Brindlet: ERROR - no talvo IO card to handle a change in the active Talvo router port\n");
        return;
    }
    UpdateClockReferences(previous, active);
    T2RouterChangeProcessor processor(mDmaManager, mPrimaryLinkEndpoint, mSecondaryLinkEndpoint,
                                      mOwner->GetFrequencyScaler(), mOwner->GetSampleRate());
    if (!processor.ApplyRouterChange(*mCard, static_cast<std::uint32_t>(active))) {
        AUDIT(Feature::TalvoIoBox,
              "Brindlet: INFO - the Adma config was not updated for the change in the active Talvo Router "
              "port\n");
    }
}

void TalvoPortManager::UpdateClockReferences(std::int32_t previous, std::int32_t active) {
    switch (active) {
        case kPrimary:
            if (previous == kSecondary) {
                mClockManager->DisableSource(mSecondaryLinkEndpoint->ClockId());
            }
            FollowClockOf(*mPrimaryLinkEndpoint, "Talvo Pri Link");
            break;
        case kSecondary:
            if (previous == kPrimary) {
                mClockManager->DisableSource(mPrimaryLinkEndpoint->ClockId());
            }
            FollowClockOf(*mSecondaryLinkEndpoint, "Talvo Sec Link");
            break;
        case kNone:
            mClockManager->DisableSource(mPrimaryLinkEndpoint->ClockId());
            mClockManager->DisableSource(mSecondaryLinkEndpoint->ClockId());
            AUDIT(Feature::TalvoIoBox,
                  "Brindlet: cleared DAC ADMA and disabled ext clock refs due to no Active Talvo Port\n");
            break;
        default:
            break;
    }
}

void TalvoPortManager::FollowClockOf(const audio::T2FsiLink& link, const char* name) {
    AUDIT(Feature::TalvoIoBox,
          "Brindlet: configuring Port Manager for Talvo 2 operation at sample rate %s with %s\n",
          SampleRates::Text(mOwner->GetSampleRate()), name);
    mClockManager->EnableSource(link.ClockId());
}

void TalvoPortManager::HandleLinkStatusChange() {
    if (!IsTalvo2()) {
        AUDIT(Feature::Fault,
              "Brindlet: ERROR - trying to handle a change in the Talvo 2 link status when operating in AoIP "
              "mode\n");
        return;
    }
    const bool isPrimaryUp = mOwner->IsPrimaryLinkUp();
    const bool isSecondaryUp = mOwner->IsSecondaryLinkUp();
    const std::int32_t active = mOwner->GetActiveLink();
    AUDIT(Feature::TalvoIoBox,
          "Brindlet: Talvo link status change: T2 Pri = %s, T2 Sec = %s, Active Talvo port = %s \n",
          UpText(isPrimaryUp), UpText(isSecondaryUp), ActiveRouterText(active));
    if (mCard == nullptr) {
        AUDIT(Feature::Fault, "Brindlet: ERROR - no IO card to handle a change in one of the Talvo links\n");
        return;
    }
    if (active == kNone) {
        AUDIT(Feature::TalvoIoBox,
              "Brindlet: INFO Adma config was not updated for the Talvo Link status change due to no active "
              "Talvo links\n");
        return;
    }
    T2RouterChangeProcessor processor(mDmaManager, mPrimaryLinkEndpoint, mSecondaryLinkEndpoint,
                                      mOwner->GetFrequencyScaler(), mOwner->GetSampleRate());
    if (!processor.ApplyLinkChange(*mCard, static_cast<std::uint32_t>(active), isPrimaryUp, isSecondaryUp)) {
        AUDIT(Feature::TalvoIoBox,
              "Brindlet: INFO the Adma config was not updated after the change in the Talvo Link status\n");
    }
}

void TalvoPortManager::HandleSampleRate(SampleRates::SystemSampleRates rate) {
    if (!IsTalvo2()) {
        AUDIT(Feature::Fault,
              "Brindlet: ERROR - trying to process a Talvo 2 set sample rate command when in AoIP operating "
              "mode\n");
        return;
    }
    AUDIT(Feature::TalvoIoBox, "Brindlet: received a Talvo 2 sample rate event for %s\n",
          SampleRates::Text(rate));
    if (mCard == nullptr) {
        AUDIT(Feature::Fault, "Brindlet: ERROR - no Talvo 2 IO card to use the Talvo 2 sample rate\n");
        return;
    }
    // The routes are written for X2, whatever multiplier the box reports.
    constexpr auto kScaler = audio::FrequencyScaler::X2;
    mCard->SetReset(true);
    SetSampleRate(kScaler, rate);
    mDmaManager->ClearSources();
    RouteInputsToLinks();
    T2OutputAdmaConfigProcessor processor(mDmaManager, mPrimaryLinkEndpoint, mSecondaryLinkEndpoint, kScaler,
                                          rate);
    if (!processor.Apply(*mCard)) {
        AUDIT(Feature::Fault,
              "Brindlet: ERROR - failed to update the Adma transaction list with the new sample rate\n");
    }
    mCard->SetReset(false);
}

int TalvoPortManager::ConfigureLoopback(bool on) {
    if (mDmaManager == nullptr) {
        AUDIT(Feature::Fault,
              "Brindlet: ERROR - attempting to configure ADMA loop-back without a valid ADMA manager\n");
        return 0;
    }
    if (mCard == nullptr) {
        AUDIT(Feature::Fault,
              "Brindlet: ERROR - no Talvo 2 IO card to use the Talvo 2 in configuring the loopback\n");
        return 0;
    }
    if (!on) {
        HandleSampleRate(mOwner->GetSampleRate());
        return 0;
    }
    mCard->SetSampleRate(mOwner->GetFrequencyScaler(), mOwner->GetSampleRate());
    mDmaManager->ClearSources();
    mDmaManager->ApplyRoute(*mCard->GetAdcEndpoint(), *mCard->GetDacEndpoint(), kWholeRoute);
    mDmaManager->Sync();
    return 0;
}

void TalvoPortManager::HandleClockSourceChanged(std::uint32_t id) {
    AUDIT(Feature::Information, "Brindlet: clock source has changed to ID %u\n", id);
    const unsigned selected = mClockManager->SelectedId();
    AUDIT(Feature::TalvoIoBoxVerbose, "Selected clock Id %u [%s/%s], T2 port 0 is %s, T2 port 1 is%s\n",
          selected, mClockManager->GetClock(selected).mAccepted ? "stable" : "unstable",
          mClockManager->Fsi().IsPllLocked() ? "locked" : "not locked",
          IsClockStable(*mPrimaryLinkEndpoint) ? "stable" : "unstable",
          IsClockStable(*mSecondaryLinkEndpoint) ? "stable" : "unstable");
}

bool TalvoPortManager::IsClockStable(const audio::T2FsiLink& link) const {
    return mClockManager->GetClock(link.ClockId()).mAccepted;
}

std::int32_t TalvoPortManager::GetOutputGain(std::int16_t portId) const {
    if (mCard == nullptr) {
        return 0;
    }
    const auto port =
        PortAt(mCard->OutputPorts(), static_cast<std::uint16_t>(portId - mCard->FirstOutputPortId()));
    return port != nullptr ? port->GetGain() : 0;
}

bool TalvoPortManager::GetOutputMute(std::int16_t portId) const {
    if (mCard == nullptr) {
        return false;
    }
    const auto port =
        PortAt(mCard->OutputPorts(), static_cast<std::uint16_t>(portId - mCard->FirstOutputPortId()));
    return port != nullptr && port->GetMute();
}

std::vector<IoCardInfo> TalvoPortManager::GetIoCardInfo() const {
    if (!IsTalvo2()) {
        AUDIT(Feature::Fault,
              "Brindlet: ERROR - trying to get Talvo 2 Card Info when operating in AoIP mode\n");
        return {};
    }
    if (mCard == nullptr) {
        AUDIT(Feature::Fault,
              "Brindlet: ERROR - failed to find any info for Talvo IO Cards to send in the response to the "
              "Talvo router request\n");
        return {};
    }
    AUDIT(Feature::TalvoIoBoxVerbose, "Brindlet: getting a list of Talvo 2 IO card info for router\n");
    return {mCard->GetIoInfo()};
}

std::string TalvoPortManager::GetPortReport() const {
    return mCard != nullptr ? PortReport(*mCard) : "";
}

const char* TalvoPortManager::ActiveRouterText(std::int32_t active) {
    constexpr std::array<const char*, 3> kTexts{
        {"Talvo Pri Port active", "Talvo Sec Port active", "NO active Talvo Ports"}};
    const auto index = static_cast<std::size_t>(active);
    return index < kTexts.size() ? kTexts[index] : "unknown Active port string";
}

}  // namespace TalvoBrindlet
