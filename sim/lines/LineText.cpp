#include "BenchText.h"

#include <charconv>
#include <cstdio>

namespace sim {

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
    constexpr int kDecimal = 10;
    constexpr int kHexadecimal = 16;
    const bool isHexadecimal = text.rfind("0x", 0) == 0;
    const char* const begin = text.data() + (isHexadecimal ? 2 : 0);
    const char* const end = text.data() + text.size();
    std::uint32_t value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value, isHexadecimal ? kHexadecimal : kDecimal);
    if (error != std::errc() || stop != end || value < least || value > most) {
        throw BadText(std::string(what) + " " + Quoted(text) + " isn't a number from " +
                      std::to_string(least) + " to " + std::to_string(most));
    }
    return value;
}

}  // namespace sim
