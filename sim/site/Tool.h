#pragma once

#include <string>
#include <vector>

/// The words as exec takes them; they point into `words`.
std::vector<char*> Pointers(std::vector<std::string>& words);

/// Runs a command of the machine to its end and returns all that it printed. Throws with that where it
/// doesn't end with status 0.
std::string RunTool(std::vector<std::string> words);
