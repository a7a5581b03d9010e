#include "MessageReader.h"

#include <cstdint>

#include "KLVTags.h"
#include "LineText.h"
#include "LittleEndian.h"

namespace sim {

void MessageReader::Take(const char* bytes, std::size_t size, const Sink& sink) {
    constexpr std::size_t kLengthOffset = 4;
    mBytes.append(bytes, size);
    std::size_t at = 0;
    while (mBytes.size() - at >= kKlvHeaderSize) {
        const auto* const header = reinterpret_cast<const unsigned char*>(mBytes.data() + at);
        const auto length = little_endian::Load<std::uint32_t>(header + kLengthOffset);
        if (length > kMaxLength) {
            throw BadText("a message of " + std::to_string(length) + " bytes");
        }
        const std::size_t whole = kKlvHeaderSize + length;
        if (mBytes.size() - at < whole) {
            break;
        }
        sink(mBytes.substr(at, whole));
        at += whole;
    }
    mBytes.erase(0, at);
}

}  // namespace sim
