#include "Parser.h"

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace {

/// The text from which from_chars, which knows no plus sign, reads the same number.
std::string_view WithoutPlus(std::string_view text) {
    const bool plusAndDigits = text.size() > 1 && text[0] == '+' && text[1] != '-';
    return plusAndDigits ? text.substr(1) : text;
}

template <typename Integer>
bool ConvertInteger(std::string_view text, Integer& out) {
    const std::string_view digits = std::is_signed_v<Integer> ? WithoutPlus(text) : text;
    const char* const end = digits.data() + digits.size();
    Integer value{};
    const auto [stop, error] = std::from_chars(digits.data(), end, value);
    if (error != std::errc() || stop != end) {
        return false;
    }
    out = value;
    return true;
}

template <typename T>
bool Assign(const std::optional<T>& value, T& out) {
    out = value.value_or(out);
    return value.has_value();
}

}  // namespace

namespace cmd::parser {

bool Convert(const std::string& text, bool& out) {
    const bool isTrue = text == "true" || text == "1";
    if (!isTrue && text != "false" && text != "0") {
        return false;
    }
    out = isTrue;
    return true;
}

bool Convert(const std::string& text, int& out) {
    return ConvertInteger(text, out);
}
bool Convert(const std::string& text, short& out) {
    return ConvertInteger(text, out);
}
bool Convert(const std::string& text, unsigned& out) {
    return ConvertInteger(text, out);
}
bool Convert(const std::string& text, unsigned short& out) {
    return ConvertInteger(text, out);
}
bool Convert(const std::string& text, unsigned char& out) {
    return ConvertInteger(text, out);
}

bool Convert(const std::string& text, std::string& out) {
    out = text;
    return true;
}

bool Convert(const std::string& text, audio::FrequencyScaler& out) {
    return Assign(audio::ScalerFromWord(text), out);
}

bool Convert(const std::string& text, SampleRates::SystemSampleRates& out) {
    return Assign(SampleRates::FromWord(text), out);
}

void Refuse(std::size_t index, const std::string& value, const char* typeName) {
    throw BadCommandArg("error: arg " + std::to_string(index) + ": cannot convert '" + value + "' to type '" +
                        typeName + "'");
}

}  // namespace cmd::parser
