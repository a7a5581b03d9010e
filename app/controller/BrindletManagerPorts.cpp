// What engineers order in the shell, by the road that a router's orders take.

#include "Audit.h"
#include "BrindletManager.h"
#include "DeskCommands.h"
#include "TalvoPortManager.h"

namespace TalvoBrindlet {

namespace {

/// Whether there is a command; says where there is none.
bool IsGiven(const std::shared_ptr<const DeskCommand>& command, const char* operation) {
    if (command == nullptr) {
        AUDIT(Feature::Assert, "Brindlet: %s called with a null pointer argument\n", operation);
    }
    return command != nullptr;
}

}  // namespace

unsigned long BrindletManager::FromSecondary() const {
    return GetActiveLink() == 1 ? 1 : 0;
}

void BrindletManager::SetInputParams(const std::shared_ptr<const IoSetInputParams>& command) {
    if (IsGiven(command, "SetInputParams") && mPortManager != nullptr) {
        mPortManager->HandleSetInputParams(command, FromSecondary());
    }
}

void BrindletManager::SetOutputGain(const std::shared_ptr<const IoSetOutputGain>& command) {
    if (IsGiven(command, "SetOutputGain") && mPortManager != nullptr) {
        mPortManager->HandleSetOutputGain(command, FromSecondary());
    }
}

void BrindletManager::SetOutputBitmap(const std::shared_ptr<const PortBitmapCmd>& command) {
    if (IsGiven(command, "SetOutputBitmap") && mPortManager != nullptr) {
        mPortManager->HandlePortBitmap(command, FromSecondary());
    }
}

void BrindletManager::SetOutputMute(std::uint16_t port, bool mute) {
    if (mPortManager == nullptr) {
        return;
    }
    const auto command = std::make_shared<IoOutputMuteCmd>();
    command->mPort = port;
    command->mMute = mute ? 1 : 0;
    mPortManager->HandleOutputMute(command, FromSecondary());
}

std::int32_t BrindletManager::GetOutputGain(std::uint16_t port) const {
    return mPortManager != nullptr ? mPortManager->GetOutputGain(static_cast<std::int16_t>(port)) : 0;
}

}  // namespace TalvoBrindlet
