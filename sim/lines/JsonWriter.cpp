#include "JsonWriter.h"

#include <cstdio>

namespace sim {

JsonWriter& JsonWriter::Key(const char* key) {
    Separate();
    mText.append("\"").append(key).append("\":");
    mCommaDue = false;
    return *this;
}

JsonWriter& JsonWriter::Number(std::uint64_t value) {
    return Value(std::to_string(value));
}

JsonWriter& JsonWriter::Signed(std::int64_t value) {
    return Value(std::to_string(value));
}

JsonWriter& JsonWriter::String(const std::string& value) {
    std::string quoted = "\"";
    for (const char c : value) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < ' ' || byte >= 0x7F || c == '"' || c == '\\') {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", byte);
            quoted += escaped;
        } else {
            quoted += c;
        }
    }
    return Value(quoted + "\"");
}

JsonWriter& JsonWriter::Flag(bool value) {
    return Value(value ? "true" : "false");
}

JsonWriter& JsonWriter::Open(char bracket) {
    Separate();
    mText += bracket;
    mCommaDue = false;
    return *this;
}

JsonWriter& JsonWriter::Close(char bracket) {
    mText += bracket;
    mCommaDue = true;
    return *this;
}

JsonWriter& JsonWriter::Value(const std::string& text) {
    Separate();
    mText += text;
    mCommaDue = true;
    return *this;
}

void JsonWriter::Separate() {
    if (mCommaDue) {
        mText += ',';
    }
}

}  // namespace sim
