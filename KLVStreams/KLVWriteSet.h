#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "KLVSet.h"

/// Writes a header, then the fields of the value. The destructor closes the set: it checks a length that was
/// declared, and keeps one that was measured.
class KLVWriteSet : public KLVSet {
  public:
    /// `length` is that of the value in bytes; negative where it isn't known yet.
    KLVWriteSet(DataStream& stream, std::uint32_t key, std::int32_t length);
    ~KLVWriteSet() override;

    /// One field, as its bytes lie in the memory of a little-endian machine.
    void WriteNative(std::uint8_t value) { WriteBytes(&value, sizeof value); }
    void WriteNative(std::uint16_t value);
    void WriteNative(std::uint32_t value);
    void WriteNative(std::int16_t value) { WriteNative(static_cast<std::uint16_t>(value)); }
    void WriteNative(std::int32_t value) { WriteNative(static_cast<std::uint32_t>(value)); }

    /// A 32-bit length, then the bytes. More than 1024 bytes are worth a warning in the log file.
    void WriteNative(const std::string& value);

    std::uint32_t Key() const { return mKey; }

  private:
    void WriteBytes(const void* data, std::size_t size);

    std::uint32_t mStartPosition;
    std::uint32_t mKey;
    std::uint32_t mIndex;
};
