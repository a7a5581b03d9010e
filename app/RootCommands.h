#pragma once

#include <cstdint>
#include <string>

namespace cmd {
class Node;
}

namespace TalvoBrindlet {
class BrindletManager;
}

/// Registers the shell's root commands. `manager` outlives the commands; `hid` is the one read at start-up.
void RegisterRootCommands(cmd::Node& root, TalvoBrindlet::BrindletManager& manager,
                          const std::string& programName, std::uint32_t hid);
