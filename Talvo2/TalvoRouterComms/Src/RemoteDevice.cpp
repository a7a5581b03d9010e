#include "RemoteDevice.h"

#include <algorithm>
#include <array>

namespace {

/// The types of routers.
constexpr std::array<std::uint32_t, 3> kReportedTypes{{1, 5, 6}};

}  // namespace

RemoteDevice::Change RemoteDevice::OnHeartbeat(std::uint32_t hid, std::uint32_t deviceType) {
    if (mIsKnown && deviceType == mDeviceType) {
        return Change::None;
    }
    mIsKnown = true;
    mHid = hid;
    mDeviceType = deviceType;
    const bool isReported =
        std::find(kReportedTypes.begin(), kReportedTypes.end(), deviceType) != kReportedTypes.end();
    return isReported ? Change::Found : Change::Remembered;
}

RemoteDevice::Change RemoteDevice::OnSilence() {
    if (!mIsKnown) {
        return Change::None;
    }
    mIsKnown = false;
    return Change::Lost;
}
