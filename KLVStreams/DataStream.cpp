#include "DataStream.h"

#include "Audit.h"
#include "KLVTags.h"

void DataStream::EndKey(std::uint32_t index, std::uint32_t startPosition, std::uint32_t key) {
    const std::uint32_t length = mBytesWritten - kKlvHeaderSize - startPosition;
    if (mPredefinedLength < 0) {
        if (index < mLengths.size()) {
            mLengths[index] = length;
        }
        return;
    }
    if (length != static_cast<std::uint32_t>(mPredefinedLength)) {
        Audit::Instance().OutputTagged(
            kFramingTag,
            "Error writing data for key 0x%-8.8lx - Predefined data length %d / write mismatch %d\n",
            static_cast<unsigned long>(key), mPredefinedLength, static_cast<int>(length));
    }
}

void DataStream::ResetCounts() {
    mBytesRead = 0;
    mBytesWritten = 0;
}

void DataStream::Skip(std::uint32_t size, bool report) {
    if (report) {
        Audit::Instance().OutputTagged(kFramingTag, "Skipping %u bytes of data\n", size);
    }
    CountRead(size);
    IgnoreData(size);
}

void DataStream::ResetMeasuring() {
    mWriteEnabled = false;
    mLengths.clear();
    mNextIndex = 0;
    mPredefinedLength = -1;
}

void DataStream::StartWritingPass() {
    mWriteEnabled = true;
    mNextIndex = 0;
}

std::uint32_t DataStream::MeasuredLength(std::uint32_t index) const {
    return index < mLengths.size() ? mLengths[index] : 0;
}
