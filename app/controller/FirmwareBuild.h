#pragma once

#include <cstdint>
#include <string>

namespace fsi {
class IFsiBus;
}

namespace TalvoBrindlet {

/// The block that knows the FPGA's build number.
constexpr const char* kFirmwareIdentity = "0010";

/// The FPGA's build number, from a block that is opened for the moment. Throws what IFsiBus::Open throws.
std::uint32_t GetFirmwareBuild(fsi::IFsiBus& bus, const std::string& identity = kFirmwareIdentity);

}  // namespace TalvoBrindlet
