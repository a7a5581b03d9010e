#include "FirmwareBuild.h"

#include "HostFsi.h"
#include "Registers.h"

namespace TalvoBrindlet {

std::uint32_t GetFirmwareBuild(fsi::IFsiBus& bus) {
    return fsi::HostFsi(bus, "0010", 0).Read(fsi::registers::kFirmwareBuild);
}

}  // namespace TalvoBrindlet
