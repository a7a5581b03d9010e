#pragma once

#include <cstddef>

class RootedPath;

/// Sets the log's switches from a text file at start-up. Each line is words between blanks or tabs: "on" and
/// "off" govern the feature names and numbers that follow them on the same line, and a line begins with
/// "off".
///
/// What it does, and whatever it can't make sense of, it reports through the log.
class DebugConfigure {
  public:
    /// A larger file isn't one of ours, and none of it is read. All 207 names take a twentieth of this.
    static constexpr std::size_t kMaxFileBytes = 65536;

    /// Reads the file and sets the switches of Audit::Instance(). A file that lacks changes nothing.
    static void ReadFile(const RootedPath& path);
};
