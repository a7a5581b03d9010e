#include "KLVWriteSet.h"

#include <algorithm>
#include <array>

#include "Audit.h"
#include "DataStream.h"
#include "KLVTags.h"
#include "LittleEndian.h"

namespace {

constexpr std::size_t kLargeString = 1024;
constexpr std::size_t kShownBytes = 32;

void WarnOfLargeString(const std::string& value) {
    Audit& audit = Audit::Instance();
    audit.LogOnly(Audit::kTimeStamp, kContentTag, "---- WARNING: LARGE STRING LENGTH %u ----\n",
                  static_cast<unsigned>(value.size()));
    for (std::size_t i = 0; i < kShownBytes; ++i) {
        audit.LogOnly(0, kContentTag, "%-2.2x ", static_cast<unsigned>(static_cast<unsigned char>(value[i])));
    }
    audit.LogOnly(0, kContentTag, "\n");
}

}  // namespace

KLVWriteSet::KLVWriteSet(DataStream& stream, std::uint32_t key, std::int32_t length)
    : KLVSet(stream), mStartPosition(stream.BytesWritten()), mKey(key), mIndex(stream.TakeIndex()) {
    stream.SetPredefinedLength(length);
    if (length < 0 && !stream.IsWriteEnabled()) {
        stream.AppendLength();
        stream.CountWritten(kKlvHeaderSize);
        return;
    }
    stream.SetWriteEnabled(true);
    const std::uint32_t value =
        length < 0 ? stream.MeasuredLength(mIndex) : static_cast<std::uint32_t>(length);
    std::array<unsigned char, kKlvHeaderSize> header{};
    little_endian::Store(key, header.data());
    little_endian::Store(value, header.data() + sizeof key);
    WriteBytes(header.data(), header.size());
}

KLVWriteSet::~KLVWriteSet() {
    Stream().EndKey(mIndex, mStartPosition, mKey);
}

void KLVWriteSet::WriteNative(std::uint16_t value) {
    std::array<unsigned char, sizeof value> bytes{};
    little_endian::Store(value, bytes.data());
    WriteBytes(bytes.data(), bytes.size());
}

void KLVWriteSet::WriteNative(std::uint32_t value) {
    std::array<unsigned char, sizeof value> bytes{};
    little_endian::Store(value, bytes.data());
    WriteBytes(bytes.data(), bytes.size());
}

void KLVWriteSet::WriteNative(const std::string& value) {
    if (value.size() > kLargeString) {
        WarnOfLargeString(value);
    }
    WriteNative(static_cast<std::uint32_t>(value.size()));
    if (!value.empty()) {
        WriteBytes(value.data(), value.size());
    }
}

void KLVWriteSet::WriteBytes(const void* data, std::size_t size) {
    const bool isEnabled = Stream().IsWriteEnabled();
    const bool isWritten = isEnabled && Stream().WriteData(data, size);
    if (isWritten || !isEnabled) {
        Stream().CountWritten(size);
    }
    if (!isWritten) {
        AUDIT(Feature::Fault,
              "ERROR in KLVWriteSet::WriteNative - some data was not written for data key 0x%-8.8lx \n",
              static_cast<unsigned long>(mKey));
    }
}
