#pragma once

#include <string>

class RootedPath;

namespace fsi {
class IFsiBus;
}

namespace TalvoBrindlet {

/// Writes the FPGA's build number behind the version in the firmware record, an XML file that other tools of
/// the box read: 1.2.3 becomes 1.2.BUILD, and anything but three numbers 0.0.BUILD. The build number is that
/// of the block `firmwareIdentity`. False where it can't, with a Fault line; the file is left as it was then.
bool UpdateFirmwareRecord(const RootedPath& path, fsi::IFsiBus& bus, const std::string& firmwareIdentity);

}  // namespace TalvoBrindlet
