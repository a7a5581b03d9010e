// The controller towards its routers: which links are up, which is active, and what it tells of itself.

#include <array>
#include <boost/asio/io_service.hpp>
#include <utility>

#include "Audit.h"
#include "BrindletManager.h"
#include "TalvoPortManager.h"
#include "TalvoRouterComms.h"

namespace TalvoBrindlet {

namespace {

constexpr const char* kModel = "KX4093";

/// What a link that is only pretended to be up has at its ends.
constexpr unsigned long kFakeLocalIp = 0x302C8D01;
constexpr unsigned long kFakeRemoteIp = 0x302C8DFE;
constexpr unsigned long kFakeRemoteHid = 0xC0B28000;

constexpr const char* kPrimaryName = "T2 Pri Link";
constexpr const char* kSecondaryName = "T2 Sec Link";

/// As the shell's users name the links.
constexpr std::array<const char*, 3> kLinkOptions{{"t1", "t2", "none"}};

}  // namespace

void BrindletManager::ReleaseRouterComms() {
    mPortManager.reset();
    mSetSampleRateConnection.disconnect();
    mIoInfoReqConnection.disconnect();
    mCapabilitiesConnection.disconnect();
    mLinkStatusConnection.disconnect();
    mActivePortConnection.disconnect();
    mComms.reset();
}

void BrindletManager::StartTalvo2Monitoring() {
    using StreamType = TalvoRouterComms::StreamType;
    AUDIT(Feature::TalvoIoBox, "Brindlet: setting up monitoring of Talvo 2 router commands\n");
    mActivePortConnection =
        mComms->SubscribeActivePort([this](unsigned char port) { OnActivePortChange(port); });
    mLinkStatusConnection = mComms->LinkManager().Changed().connect(
        [this](unsigned char port, unsigned long localIp, unsigned char remoteType, unsigned long remoteIp,
               unsigned long remoteHid) {
            OnLinkStatusChange(port, localIp, remoteType, remoteIp, remoteHid);
        });
    mCapabilitiesConnection = mComms->Comms().StreamChanged().connect(
        [this](unsigned char, StreamType, bool connected) { OnStreamChange(connected); });
    TalvoCommandProcessor& processor = mComms->Processor();
    mIoInfoReqConnection = processor.Register<IoInfoReq>(
        IoInfoReq::kId, [this](const auto&, unsigned char port, StreamType) { OnIoInfoReq(port); });
    mSetSampleRateConnection = processor.Register<IoSetSampleRateCmd>(
        IoSetSampleRateCmd::kId,
        [this](const auto& command, unsigned char, StreamType) { OnSetSampleRate(*command); });
    mPortManager->StartMonitoringRouterCommands(*mComms);
}

void BrindletManager::OnActivePortChange(unsigned char port) {
    if (GetOperatingMode() != OperatingMode::Talvo2) {
        AUDIT(Feature::Fault,
              "Brindlet: ERROR - received a Talvo Active Port Change notification when operating in AoIP "
              "mode\n");
        return;
    }
    const std::int32_t previous = mActiveLink.exchange(port);
    AUDIT(Feature::Information, "Brindlet: changing active Talvo port from %s to %s\n",
          TalvoPortManager::ActiveRouterText(previous), TalvoPortManager::ActiveRouterText(port));
    if (previous == port) {
        return;
    }
    mPortManager->HandleActiveRouterChange(previous);
    if (port == kNoLink) {
        return;
    }
    IoActiveAudio report;
    report.mHid = GetHid();
    report.mPort = port;
    mComms->SendAsync(report, TalvoRouterComms::kActivePort);
}

void BrindletManager::OnLinkStatusChange(unsigned char port, unsigned long localIp,
                                         unsigned char /*remoteType*/, unsigned long remoteIp,
                                         unsigned long remoteHid) {
    AUDIT(Feature::Information,
          "Brindlet: Talvo Link status change - Port %lu, Local IP %lu, Remote IP %lu, Remote Hid %lu\n",
          static_cast<unsigned long>(port), localIp, remoteIp, remoteHid);
    if (GetOperatingMode() != OperatingMode::Talvo2) {
        AUDIT(Feature::Information, "Brindlet: received a Talvo Router status change when in AoIP mode\n");
        return;
    }
    if (port > 1) {
        AUDIT(Feature::Fault, "Brindlet: ERROR - router status change event for unknown Talvo Port %ld\n",
              static_cast<long>(port));
        return;
    }
    const bool isUp = remoteIp != 0;
    AUDIT(Feature::TalvoIoBox,
          "HandleRouterStatusChange - %s link change, link up=%d, Remote IP =0x%-8.8lx\n",
          port == 0 ? "PRIMARY" : "SECONDARY", isUp ? 1 : 0, remoteIp);
    std::atomic<bool>& linkUp = port == 0 ? mPrimaryLinkUp : mSecondaryLinkUp;
    if (linkUp.exchange(isUp) != isUp) {
        mPortManager->HandleLinkStatusChange();
    }
}

std::string BrindletManager::FakeActiveLink(const std::string& name) {
    if (GetOperatingMode() != OperatingMode::Talvo2) {
        return "Error setting T2 link - not in Talvo2 operating mode";
    }
    AUDIT(Feature::TalvoIoBoxVerbose, "Request to fake a T2 link change to %s \n", name.c_str());
    const auto* const option = std::find(kLinkOptions.begin(), kLinkOptions.end(), name);
    if (option == kLinkOptions.end()) {
        return "Unknown Talvo link option";
    }
    const auto link = static_cast<std::int32_t>(option - kLinkOptions.begin());
    if (link == mActiveLink) {
        return "Talvo link unchanged";
    }
    TakeFakeLinkUp(0);
    TakeFakeLinkUp(1);
    const std::int32_t previous = mActiveLink.exchange(link);
    AUDIT(Feature::TalvoIoBoxVerbose, "Brindlet: faking a change in active Talvo port from %s to %s\n",
          TalvoPortManager::ActiveRouterText(previous), TalvoPortManager::ActiveRouterText(link));
    mPortManager->HandleActiveRouterChange(previous);
    return "Changed link state to " + name;
}

void BrindletManager::TakeFakeLinkUp(unsigned char port) {
    OnLinkStatusChange(port, kFakeLocalIp, 0, kFakeRemoteIp, kFakeRemoteHid);
}

std::string BrindletManager::ResyncLinkState() {
    for (const unsigned char port : {0, 1}) {
        if (mComms->LinkManager().IsHeartbeatSeen(port)) {
            TakeFakeLinkUp(port);
        } else {
            OnLinkStatusChange(port, 0, 0, 0, 0);
        }
    }
    OnActivePortChange(static_cast<unsigned char>(mComms->GetActivePort()));
    return "Synchronised data with router comms framework";
}

std::string BrindletManager::GetAvailableLinks() const {
    if (IsPrimaryLinkUp() && IsSecondaryLinkUp()) {
        return std::string(kPrimaryName) + ",  " + kSecondaryName;
    }
    if (IsPrimaryLinkUp()) {
        return kPrimaryName;
    }
    return IsSecondaryLinkUp() ? kSecondaryName : "No Talvo links";
}

std::string BrindletManager::GetActiveLinkName() const {
    switch (GetActiveLink()) {
        case 0:
            return kPrimaryName;
        case 1:
            return kSecondaryName;
        default:
            return "No active Talvo link";
    }
}

void BrindletManager::OnIoInfoReq(unsigned char port) {
    if (GetOperatingMode() != OperatingMode::Talvo2) {
        AUDIT(Feature::Information, "Brindlet: received a Talvo IoInfoReq message when in AoIP mode\n");
        return;
    }
    SendCapabilities();
    AUDIT(Feature::TalvoIoBox, "Brindlet: sending IoInfo response\n");
    IoInfo info;
    info.mHid = GetHid();
    info.mText1 = kModel;
    mComms->SendAsync(std::move(info), port);
}

void BrindletManager::OnSetSampleRate(const IoSetSampleRateCmd& command) {
    constexpr std::uint8_t kRates = 4;
    if (GetOperatingMode() != OperatingMode::Talvo2) {
        AUDIT(Feature::Information, "Brindlet: received a Talvo Set Sample Rate request when in AoIP mode\n");
        return;
    }
    if (command.mRate >= kRates) {
        AUDIT(Feature::Fault,
              "Brindlet: FAULT - received a request to set the brindlet sample rate to an unsupported "
              "value\n");
        return;
    }
    const auto rate = static_cast<SampleRates::SystemSampleRates>(command.mRate);
    AUDIT(Feature::Fault,
          "Brindlet: received a Talvo 2 command to set the Brindlet sample rate to %s @ %s and wait %lu ms\n",
          SampleRates::Text(rate), audio::Text(GetFrequencyScaler()),
          static_cast<unsigned long>(command.mWaitMs));
    SetSampleRate(GetFrequencyScaler(), rate, command.mWaitMs);
}

void BrindletManager::OnStreamChange(bool connected) {
    if (!connected) {
        return;
    }
    AUDIT(Feature::Information, "Brindlet Lambda: Reporting sample rate capabilities current is %d.\n",
          static_cast<int>(GetSampleRate()));
    SendCapabilities();
}

void BrindletManager::SendCapabilities() {
    IoSampleRateCapabilities capabilities;
    capabilities.mHid = GetHid();
    capabilities.mCurrentRate = GetSampleRate();
    capabilities.mRates = {SampleRates::SR48k, SampleRates::SR96k, SampleRates::SR44_1k,
                           SampleRates::SR88_2k};
    mComms->SendAsync(std::move(capabilities), TalvoRouterComms::kActivePort);
}

}  // namespace TalvoBrindlet
