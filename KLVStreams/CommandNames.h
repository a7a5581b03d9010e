#pragma once

#include <cstdint>

/// The name of a desk command, for diagnostics; "Unknown" for an id that this device doesn't meet.
const char* GetCommandName(std::uint32_t id);
