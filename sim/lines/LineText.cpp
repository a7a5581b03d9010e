#include "LineText.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace sim {
namespace {

/// Takes a word's 32 bits, decimal or hexadecimal behind "0x"; false where the text is anything else.
bool ReadUnsigned(const std::string& text, std::int64_t& value) {
    constexpr int kDecimal = 10;
    constexpr int kHexadecimal = 16;
    const bool isHexadecimal = text.rfind("0x", 0) == 0;
    const char* const begin = text.data() + (isHexadecimal ? 2 : 0);
    const char* const end = text.data() + text.size();
    std::uint32_t word = 0;
    const auto [stop, error] = std::from_chars(begin, end, word, isHexadecimal ? kHexadecimal : kDecimal);
    value = word;
    return error == std::errc() && stop == end;
}

[[noreturn]] void RefuseNumber(const char* what, const std::string& text, std::int64_t least,
                               std::int64_t most) {
    throw BadText(std::string(what) + " " + Quoted(text) + " isn't a number from " + std::to_string(least) +
                  " to " + std::to_string(most));
}

}  // namespace

std::string Quoted(const std::string& text) {
    constexpr std::size_t kMaxShown = 60;
    std::string quoted = "'";
    for (const char c : text.substr(0, kMaxShown)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= ' ' && byte < 0x7F) {
            quoted += c;
        } else {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", byte);
            quoted += escaped;
        }
    }
    quoted += text.size() > kMaxShown ? "...'" : "'";
    return quoted;
}

std::uint32_t ParseNumber(const char* what, const std::string& text, std::uint32_t least,
                          std::uint32_t most) {
    std::int64_t value = 0;
    if (!ReadUnsigned(text, value) || value < least || value > most) {
        RefuseNumber(what, text, least, most);
    }
    return static_cast<std::uint32_t>(value);
}

std::int32_t ParseSigned(const char* what, const std::string& text, std::int32_t least, std::int32_t most) {
    const bool isNegative = text.rfind('-', 0) == 0;
    std::int64_t value = 0;
    const bool isNumber = ReadUnsigned(text.substr(isNegative ? 1 : 0), value);
    value = isNegative ? -value : value;
    if (!isNumber || value < least || value > most) {
        RefuseNumber(what, text, least, most);
    }
    return static_cast<std::int32_t>(value);
}

bool ParseOn(const std::string& text) {
    return Choose(text, {"off", "on"}) == 1;
}

std::string ParseHex(const char* what, const std::string& text) {
    constexpr int kHexadecimal = 16;
    std::string bytes;
    for (std::size_t at = 0; at + 1 < text.size(); at += 2) {
        std::uint8_t byte = 0;
        const char* const end = text.data() + at + 2;
        const auto [stop, error] = std::from_chars(text.data() + at, end, byte, kHexadecimal);
        if (error != std::errc() || stop != end) {
            break;
        }
        bytes += static_cast<char>(byte);
    }
    if (bytes.empty() || bytes.size() * 2 != text.size()) {
        throw BadText(std::string(what) + " " + Quoted(text) + " isn't pairs of hexadecimal digits");
    }
    return bytes;
}

std::size_t Choose(const std::string& text, std::initializer_list<const char*> choices) {
    const auto* const found = std::find(choices.begin(), choices.end(), text);
    if (found != choices.end()) {
        return static_cast<std::size_t>(found - choices.begin());
    }
    std::string reason = Quoted(text) + " isn't one of";
    for (const char* choice : choices) {
        reason.append(" ").append(choice);
    }
    throw BadText(reason);
}

std::vector<std::string> SplitWords(const std::string& line, std::size_t most) {
    constexpr const char* kBlanks = " \t";
    std::vector<std::string> pieces;
    std::size_t begin = line.find_first_not_of(kBlanks);
    while (begin != std::string::npos) {
        const bool isLast = pieces.size() + 1 == most;
        const std::size_t end = isLast ? line.find_last_not_of(kBlanks) + 1
                                       : std::min(line.find_first_of(kBlanks, begin), line.size());
        pieces.push_back(line.substr(begin, end - begin));
        begin = line.find_first_not_of(kBlanks, end);
    }
    return pieces;
}

}  // namespace sim
