#pragma once

#include <cstdint>
#include <string>

namespace sim {

/// Writes one line of JSON, without blanks, in the order of the calls. The caller keeps objects, keys and
/// values in their places. Keys are plain words.
class JsonWriter {
  public:
    JsonWriter& BeginObject() { return Open('{'); }
    JsonWriter& EndObject() { return Close('}'); }
    JsonWriter& BeginArray() { return Open('['); }
    JsonWriter& EndArray() { return Close(']'); }

    JsonWriter& Key(const char* key);
    JsonWriter& Number(std::uint64_t value);
    JsonWriter& Signed(std::int64_t value);
    JsonWriter& Flag(bool value);

    /// Bytes that aren't printable ASCII become \u00NN.
    JsonWriter& String(const std::string& value);

    /// A value that is JSON already.
    JsonWriter& Raw(const std::string& json) { return Value(json); }

    JsonWriter& Number(const char* key, std::uint64_t value) { return Key(key).Number(value); }
    JsonWriter& Flag(const char* key, bool value) { return Key(key).Flag(value); }

    const std::string& Text() const { return mText; }

  private:
    JsonWriter& Open(char bracket);
    JsonWriter& Close(char bracket);
    JsonWriter& Value(const std::string& text);
    void Separate();

    std::string mText;
    bool mCommaDue = false;
};

}  // namespace sim
