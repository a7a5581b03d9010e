#include "KLVReadSet.h"

#include <utility>

#include "Audit.h"
#include "DataStream.h"
#include "KLVTags.h"

KLVReadSet::KLVReadSet(DataStream& stream) : KLVSet(stream) {
    std::array<unsigned char, kKlvHeaderSize> header{};
    std::uint32_t length = 0;
    if (stream.ReadData(header.data(), header.size())) {
        stream.CountRead(header.size());
        mKey = little_endian::Load<std::uint32_t>(header.data());
        length = little_endian::Load<std::uint32_t>(header.data() + sizeof mKey);
    }
    mEnd = stream.BytesRead() + length;
}

KLVReadSet::~KLVReadSet() {
    if (!mActive || Left() == 0) {
        return;
    }
    const std::uint32_t bytesRead = Stream().BytesRead();
    if (mKey != 0) {
        Audit::Instance().OutputTagged(kFramingTag,
                                       "Error reading data key = 0x%-8.8lx - Data length read %u is "
                                       "inconsistent with KLV header %u\r\n",
                                       static_cast<unsigned long>(mKey), mEnd, bytesRead);
    } else {
        Audit::Instance().OutputTagged(kFramingTag,
                                       "Data key not recognised = 0x%-8.8lx - Data length read %u is "
                                       "inconsistent with KLV header %u\n",
                                       0UL, mEnd, bytesRead);
    }
    Stream().Skip(Left(), true);
}

std::uint32_t KLVReadSet::Left() const {
    return mEnd - Stream().BytesRead();
}

bool KLVReadSet::ReadNative(std::string& value) {
    std::uint32_t length = 0;
    if (!ReadNative(length)) {
        return false;
    }
    if (length > Left()) {
        mHasFailed = true;
        return false;
    }
    std::string text(length, '\0');
    if (!ReadBytes(text.data(), length)) {
        return false;
    }
    value = std::move(text);
    return true;
}

void KLVReadSet::SkipToEnd() {
    Stream().Skip(Left(), false);
}

bool KLVReadSet::ReadBytes(void* data, std::size_t size) {
    if (mHasFailed || size > Left() || !Stream().ReadData(data, size)) {
        mHasFailed = true;
        return false;
    }
    Stream().CountRead(size);
    return true;
}
