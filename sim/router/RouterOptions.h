#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "LineServer.h"

namespace sim {

/// What the command line of the virtual router asks for.
struct RouterOptions {
    std::uint32_t mHid = 0;
    std::uint32_t mType = 1;
    std::string mLocal;  ///< IPv4, dotted
    std::string mBox;    ///< IPv4, dotted
    bool mMaster = false;
    std::optional<LineEndpoint> mControl;
    bool mHelp = false;
};

/// Reads the command line. Throws BadText with one clear line where it is wrong. Doesn't judge the addresses.
RouterOptions ParseRouterOptions(int argc, const char* const* argv);

/// Throws BadText where the box would take the router for a simulated one: a loopback address, or a box that
/// is this very host; std::system_error where this host's addresses can't be had.
void JudgeAddresses(const RouterOptions& options);

/// What `--help` prints.
std::string RouterOptionsHelp();

}  // namespace sim
