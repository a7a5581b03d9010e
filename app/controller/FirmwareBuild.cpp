#include "FirmwareBuild.h"

#include "HostFsi.h"
#include "Registers.h"

namespace TalvoBrindlet {

std::uint32_t GetFirmwareBuild(fsi::IFsiBus& bus, const std::string& identity) {
    return fsi::HostFsi(bus, identity, 0).Read(fsi::registers::kFirmwareBuild);
}

}  // namespace TalvoBrindlet
