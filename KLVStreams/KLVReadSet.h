#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "KLVSet.h"
#include "LittleEndian.h"

/// Reads a header at once, then the fields of the value as far as the value goes. The destructor brings the
/// stream to the message's end, with a report where something of it was left.
class KLVReadSet : public KLVSet {
  public:
    explicit KLVReadSet(DataStream& stream);
    ~KLVReadSet() override;

    std::uint32_t Key() const { return mKey; }

    /// Bytes of the value that haven't been read.
    std::uint32_t Left() const;

    // One field each: false, and `value` as it was, where the message doesn't hold it. After that every
    // further read fails.

    template <class T>
    bool ReadNative(T& value) {
        std::array<unsigned char, sizeof(T)> bytes;
        if (!ReadBytes(bytes.data(), bytes.size())) {
            return false;
        }
        value = little_endian::Load<T>(bytes.data());
        return true;
    }
    bool ReadNative(std::string& value);

    /// Discards the rest without a report.
    void SkipToEnd();

  private:
    bool ReadBytes(void* data, std::size_t size);

    std::uint32_t mEnd = 0;
    std::uint32_t mKey = 0;
    bool mActive = true;
    bool mHasFailed = false;
};
