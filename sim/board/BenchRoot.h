#pragma once

#include <string>

namespace sim {

/// Makes the folder that stands before the application's own paths fit for a start: the folders that the
/// application expects, and a firmware record where there is none. Returns the folder as an absolute path,
/// empty for "/" itself. Throws std::system_error, which names the file, where it can't.
std::string PrepareRoot(const std::string& folder);

}  // namespace sim
