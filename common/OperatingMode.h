#pragma once

#include <cstdint>

namespace TalvoBrindlet {

/// How the box works with its audio network.
enum class OperatingMode : std::uint32_t { AoIP = 0, Talvo2 = 1, Unknown = 2 };

}  // namespace TalvoBrindlet
