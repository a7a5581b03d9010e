#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "SampleRates.h"

/// Typed arguments from typed words. One Convert for each parameter type that commands have; a type of its
/// own namespace joins by a Convert there and, for a name in the help, a kTypeName here. Pure functions, any
/// thread.
namespace cmd::parser {

/// A word that isn't a value of its parameter's type. `what()` is the reply that the user sees.
class BadCommandArg : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// True with `out` set, or false with `out` untouched. Words are compared exactly, numbers are decimal and
/// whole, within the range of their type; a sign is for the signed types alone.
bool Convert(const std::string& text, bool& out);
bool Convert(const std::string& text, int& out);
bool Convert(const std::string& text, short& out);
bool Convert(const std::string& text, unsigned& out);
bool Convert(const std::string& text, unsigned short& out);
bool Convert(const std::string& text, unsigned char& out);
bool Convert(const std::string& text, std::string& out);
bool Convert(const std::string& text, audio::FrequencyScaler& out);
bool Convert(const std::string& text, SampleRates::SystemSampleRates& out);

/// The name of a type in usage texts and error messages.
template <typename T>
inline constexpr const char* kTypeName = "unknown";
template <>
inline constexpr const char* kTypeName<bool> = "bool";
template <>
inline constexpr const char* kTypeName<int> = "int";
template <>
inline constexpr const char* kTypeName<short> = "short";
template <>
inline constexpr const char* kTypeName<unsigned> = "unsigned";
template <>
inline constexpr const char* kTypeName<unsigned short> = "unsigned short";
template <>
inline constexpr const char* kTypeName<unsigned char> = "unsigned char";
template <>
inline constexpr const char* kTypeName<std::string> = "std::string";
template <>
inline constexpr const char* kTypeName<audio::FrequencyScaler> = "FrequencyScaler";
template <>
inline constexpr const char* kTypeName<SampleRates::SystemSampleRates> = "SystemSampleRates";

/// Throws BadCommandArg for the argument at `index`, counted from 0.
[[noreturn]] void Refuse(std::size_t index, const std::string& value, const char* typeName);

/// The argument at `index` as a T; throws BadCommandArg when it can't be converted, however the conversion
/// fails.
template <typename T>
T Argument(const std::vector<std::string>& arguments, std::size_t index) {
    const std::string& text = arguments[index];
    try {
        T value{};
        if (Convert(text, value)) {
            return value;
        }
    } catch (...) {
        Refuse(index, text, kTypeName<T>);
    }
    Refuse(index, text, kTypeName<T>);
}

}  // namespace cmd::parser
