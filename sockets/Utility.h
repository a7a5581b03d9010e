#pragma once

#include <cstdint>
#include <string>

/// Addresses as numbers and texts.
namespace Utility {

/// An IPv4 address in host order as four decimal numbers.
std::string DottedIp(std::uint32_t ip);

/// The reverse; false, and `ip` as it was, where the text is no such address.
bool ParseIp(const std::string& dotted, std::uint32_t& ip);

}  // namespace Utility
