#pragma once

#include <cstdint>
#include <string>

class RootedPath;

namespace TalvoBrindlet {

/// The mark of a HID that hasn't been computed yet.
constexpr std::uint32_t kHidNotRead = 0xFFFFFFFF;

/// The number in the HID extension file, in hexadecimal with or without 0x; 0, with a log line, where there
/// is no file, and 0 where it holds no number of 32 bits.
std::uint32_t ReadExtendedHid(const RootedPath& path);

/// A HID as logs show it: a name for the two special values, hexadecimal and decimal for small ones, and
/// bytes apart for the rest. Ends in a blank.
std::string HidText(std::uint32_t hid);

}  // namespace TalvoBrindlet
