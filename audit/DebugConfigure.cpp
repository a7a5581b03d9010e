#include "DebugConfigure.h"

#include <algorithm>
#include <boost/filesystem.hpp>
#include <cctype>
#include <charconv>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>

#include "Audit.h"
#include "RootedPath.h"

namespace {

/// What the file holds, or its first bytes beyond the limit; nothing where it can't be read.
std::optional<std::string> Content(const std::string& path) {
    boost::system::error_code ignored;
    // Opening a named pipe would wait for a writer, and a folder opens but can't be read.
    if (!boost::filesystem::is_regular_file(path, ignored)) {
        return std::nullopt;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    std::string content(DebugConfigure::kMaxFileBytes + 1, '\0');
    file.read(content.data(), static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<std::size_t>(file.gcount()));
    return content;
}

std::optional<int> WholeNumber(const std::string& word) {
    int number = 0;
    const char* const end = word.data() + word.size();
    const auto [rest, error] = std::from_chars(word.data(), end, number);
    return error == std::errc() && rest == end ? std::optional<int>(number) : std::nullopt;
}

/// The feature that the word names or numbers, -1 for an unknown name; nothing for a number that isn't one.
std::optional<int> FeatureOf(const std::string& word) {
    return std::isdigit(static_cast<unsigned char>(word.front())) != 0 ? WholeNumber(word)
                                                                       : Audit::FeatureId(word);
}

void Switch(const std::string& word, bool on) {
    Audit& audit = Audit::Instance();
    const std::optional<int> id = FeatureOf(word);
    if (!id) {
        audit.Output("Debug: What does :%s mean?\r\n", word.c_str());
        return;
    }
    const auto feature = static_cast<unsigned>(*id);
    if (feature >= Audit::kMaxDebugLevels) {
        audit.Output("DebugId %d MaxDebugLevels %d Assert %d\r\n", *id,
                     static_cast<int>(Audit::kMaxDebugLevels), static_cast<int>(Feature::Assert));
        audit.Output("Feature %s is unknown \r\n", word.c_str());
        return;
    }
    audit.SetLevel(feature, on ? 1 : 0);
    audit.Output("Debug Feature %s (%d) is %s\r\n", Audit::FeatureName(feature), *id, on ? "On" : "Off");
}

void ReadLine(const std::string& line) {
    constexpr const char* kSeparators = " \t";
    bool on = false;
    std::size_t end = 0;
    for (std::size_t start = line.find_first_not_of(kSeparators); start != std::string::npos;
         start = line.find_first_not_of(kSeparators, end)) {
        end = std::min(line.find_first_of(kSeparators, start), line.size());
        const std::string word = line.substr(start, end - start);
        if (word == "on" || word == "off") {
            on = word == "on";
        } else {
            Switch(word, on);
        }
    }
}

}  // namespace

void DebugConfigure::ReadFile(const RootedPath& path) {
    Audit& audit = Audit::Instance();
    const std::optional<std::string> content = Content(path.Actual());
    if (!content) {
        audit.Output("DebugConfig : unable to access File '%s'.\n", path.Shown().c_str());
        return;
    }
    if (content->size() > kMaxFileBytes) {
        audit.Output("DebugConfig : File '%s' is larger than %lu bytes and is not read.\n",
                     path.Shown().c_str(), static_cast<unsigned long>(kMaxFileBytes));
        return;
    }
    audit.Output("DebugConfig : Reading File '%s' ...\n", path.Shown().c_str());
    std::istringstream lines(*content);
    for (std::string line; std::getline(lines, line);) {
        ReadLine(line);
    }
}
