#pragma once

#include <cstdint>
#include <string>

namespace cmd {
class Node;
}

namespace fsi {
class IFsiBus;
}

namespace TalvoBrindlet {
class BrindletManager;
}

/// Registers the shell's root commands. `manager` and `bus` outlive the commands; `hid` is the one read at
/// start-up.
void RegisterRootCommands(cmd::Node& root, TalvoBrindlet::BrindletManager& manager, fsi::IFsiBus& bus,
                          const std::string& programName, std::uint32_t hid);
