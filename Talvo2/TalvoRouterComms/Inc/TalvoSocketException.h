#pragma once

#include <array>
#include <cstdio>
#include <exception>
#include <string>

/// A socket that the box can't do without couldn't be had.
class TalvoSocketException : public std::exception {
  public:
    static constexpr std::size_t kMaxMessage = 2048;  ///< bytes; the rest is cut off

    explicit TalvoSocketException(const std::string& message) {
        std::snprintf(mMessage.data(), mMessage.size(), "%s", message.c_str());
    }

    const char* what() const noexcept override { return mMessage.data(); }

  private:
    std::array<char, kMaxMessage + 1> mMessage{};
};
