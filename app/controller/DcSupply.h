#pragma once

#include <cstdint>

namespace TalvoBrindlet {

enum class DcSupplyState : std::uint32_t { NotConnected = 0, UnderVolts = 1, InRange = 2, OverVolts = 3 };

const char* Text(DcSupplyState state);

/// What is known of the external DC supply.
struct DcSupply {
    DcSupplyState mState = DcSupplyState::NotConnected;
    bool mIsPresent = true;
    bool mIsInRange = true;  ///< also where there is no supply
};

/// What a reading makes of a supply.
struct DcSupplyReading {
    DcSupply mSupply;
    const char* mChange = nullptr;  ///< the log line of what changed, if anything did
    bool mIsSettled = false;        ///< was in range and still is: there is nothing to show
};

/// Judges a reading, in tenths of a volt, with hysteresis at both ends of the operating range. A supply that
/// is out of range stays as it was judged until it is well in range again, or gone.
DcSupplyReading JudgeDcSupply(const DcSupply& before, std::uint32_t tenthsOfVolt);

}  // namespace TalvoBrindlet
