#pragma once

#include <array>
#include <string>

#include "Board.h"

namespace sim {

/// What the report tells of: the board's blocks and links.
struct StateSources {
    const AdmaBlock& mAdma;
    const ReferenceBlock& mReference;
    const RegisterBlock& mAdc;
    const RegisterBlock& mDac;
    const GpioBlock& mGpio;
    const GpioBlock& mPower;
    const RegisterBlock& mAdcClocks;
    const RegisterBlock& mDacClocks;
    const FirmwareBlock& mFirmware;
    const LinkDriver::States& mLinks;
};

/// The state of the board as one line of JSON. Under the board's lock.
std::string StateReport(const StateSources& sources);

}  // namespace sim
