#pragma once

#include <cstdint>

/// What is known of the device at the other end of a link, from the heartbeats that come or fail to.
class RemoteDevice {
  public:
    enum class Change {
        None,
        Found,       ///< to be told to the application
        Remembered,  ///< found, and of a type that the application isn't told of
        Lost,
    };

    /// A heartbeat has come.
    Change OnHeartbeat(std::uint32_t hid, std::uint32_t deviceType);

    /// None has come in time, or the link ends.
    Change OnSilence();

    // Of the device that was found last.
    std::uint32_t Hid() const { return mHid; }
    std::uint32_t DeviceType() const { return mDeviceType; }

  private:
    bool mIsKnown = false;
    std::uint32_t mHid = 0;
    std::uint32_t mDeviceType = 0;
};
