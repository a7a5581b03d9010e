#pragma once

#include <string>

namespace TalvoBrindlet {

class IoCard;

/// The card and its ports as a table for reading: gains in cB, phantom power, and what feeds each output.
std::string PortReport(const IoCard& card);

}  // namespace TalvoBrindlet
