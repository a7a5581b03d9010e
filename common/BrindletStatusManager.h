#pragma once

#include <cstdint>

#include "OperatingMode.h"
#include "SampleRates.h"

namespace TalvoBrindlet {

/// What the parts below the device controller may ask it. Any thread.
class BrindletStatusManager {
  public:
    BrindletStatusManager() = default;
    BrindletStatusManager(const BrindletStatusManager&) = delete;
    BrindletStatusManager& operator=(const BrindletStatusManager&) = delete;
    virtual ~BrindletStatusManager() = default;

    /// The box's identity on the network. The first call, on the event loop, computes it.
    virtual std::uint32_t GetHid() = 0;

    /// The status word that heartbeats carry.
    virtual std::uint32_t GetIoBoxStatus() const = 0;

    virtual audio::FrequencyScaler GetFrequencyScaler() const = 0;
    virtual SampleRates::SystemSampleRates GetSampleRate() const = 0;
    virtual OperatingMode GetOperatingMode() const = 0;

    /// 1 Talvo 2, 2 Dante, 0 not set up yet.
    virtual std::int32_t GetProtocol() const = 0;

    virtual bool IsPrimaryLinkUp() const = 0;
    virtual bool IsSecondaryLinkUp() const = 0;

    /// 0 primary, 1 secondary, 2 none.
    virtual std::int32_t GetActiveLink() const = 0;
};

}  // namespace TalvoBrindlet
