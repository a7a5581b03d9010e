#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

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

}  // namespace sim
