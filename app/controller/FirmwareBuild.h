#pragma once

#include <cstdint>

namespace fsi {
class IFsiBus;
}

namespace TalvoBrindlet {

/// The FPGA's build number, from a block that is opened for the moment. Throws what IFsiBus::Open throws.
std::uint32_t GetFirmwareBuild(fsi::IFsiBus& bus);

}  // namespace TalvoBrindlet
