#pragma once

#include <cstdio>
#include <string>

/// Bytes as pairs of hexadecimal digits, and back; blanks in the text are for the reader.
inline std::string HexOf(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
        text += digits;
    }
    return text;
}

inline std::string BytesOf(const std::string& hex) {
    std::string digits;
    for (const char c : hex) {
        if (c != ' ') {
            digits += c;
        }
    }
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return bytes;
}
