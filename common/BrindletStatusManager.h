#pragma once

#include <cstdint>

#include "OperatingMode.h"

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

    virtual OperatingMode GetOperatingMode() const = 0;

    /// 1 Talvo 2, 2 Dante, 0 not set up yet.
    virtual std::int32_t GetProtocol() const = 0;
};

}  // namespace TalvoBrindlet
