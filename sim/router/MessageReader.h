#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace sim {

/// Puts the messages of a stream together, however its bytes come.
class MessageReader {
  public:
    static constexpr std::size_t kMaxLength = 16 * 1024 * 1024;  ///< of a value; more is no message

    /// Takes bytes and gives the messages that are complete now, header and value each. Throws BadText where
    /// a header announces too much.
    std::vector<std::string> Take(const char* bytes, std::size_t size);

    /// The next bytes are those of another stream.
    void Reset() { mBytes.clear(); }

  private:
    std::string mBytes;
};

}  // namespace sim
