#pragma once

#include <string>

namespace sys {

/// Runs `text` by /bin/sh and waits for its end. The child inherits standard output and error and no other
/// descriptor; its standard input is /dev/null and its signals are at their defaults. It has a process group
/// of its own, so that the Ctrl-C which stops the application lets it finish; and unlike `system`, this
/// leaves the caller's own handling of that signal alone. Any thread. Returns the wait status as `system`
/// does, or -1 when no child could be started.
int RunShellCommand(const std::string& text);

/// `word` as one word of a shell command: as it is where it holds nothing that a shell would act on, else
/// quoted.
std::string ShellWord(const std::string& word);

}  // namespace sys
