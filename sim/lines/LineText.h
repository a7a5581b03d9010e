#pragma once

#include <cstdint>
#include <exception>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace sim {

/// What a request or an option brought is wrong; the text says what. (An exception, so that a request is
/// judged as a whole before anything changes.)
class BadText : public std::exception {
  public:
    explicit BadText(std::string reason) : mReason(std::move(reason)) {}
    const char* what() const noexcept override { return mReason.c_str(); }

  private:
    std::string mReason;
};

/// `text` between quotation marks, fit for one line of a report: shortened, and what isn't printable ASCII as
/// \xNN.
std::string Quoted(const std::string& text);

/// A number, decimal or hexadecimal behind "0x", from `least` to `most`. Throws BadText, which names it as
/// `what`.
std::uint32_t ParseNumber(const char* what, const std::string& text, std::uint32_t least, std::uint32_t most);

/// A number that may be negative, decimal or hexadecimal behind "0x" or "-0x", from `least` to `most`. Throws
/// BadText.
std::int32_t ParseSigned(const char* what, const std::string& text, std::int32_t least, std::int32_t most);

/// "on" or "off".
bool ParseOn(const std::string& text);

/// Bytes, each as two hexadecimal digits; at least one. Throws BadText, which names them as `what`.
std::string ParseHex(const char* what, const std::string& text);

/// The position of `text` among the words that may stand there. Throws BadText, which names them.
std::size_t Choose(const std::string& text, std::initializer_list<const char*> choices);

/// Splits at blanks into at most `most` pieces; the last one takes the rest, blanks inside it included.
std::vector<std::string> SplitWords(const std::string& line, std::size_t most);

}  // namespace sim
