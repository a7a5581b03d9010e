#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace sim {

/// Puts the messages of one stream together, however its bytes come.
class MessageReader {
  public:
    static constexpr std::size_t kMaxLength =
        std::size_t{16} * 1024 * 1024;  ///< of a value; more is no message

    /// Takes a message, header and value.
    using Sink = std::function<void(const std::string& message)>;

    /// Takes bytes and hands on each message that is complete now. Throws BadText where a header announces
    /// too much; the messages before it have been handed on then.
    void Take(const char* bytes, std::size_t size, const Sink& sink);

  private:
    std::string mBytes;
};

}  // namespace sim
