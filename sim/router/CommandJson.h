#pragma once

#include <string>

namespace sim {

/// A received message, header and value, as a JSON object: the command's name, then its fields in wire order.
/// Of a command that isn't known, its id and the value's length.
std::string CommandJson(const std::string& message);

}  // namespace sim
