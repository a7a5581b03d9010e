#include "RingBuffer.h"

#include <algorithm>
#include <cstring>

bool RingBuffer::Write(const void* data, std::size_t size) {
    if (size > GetFree()) {
        return false;
    }
    const char* const bytes = static_cast<const char*>(data);
    std::size_t done = 0;
    while (done < size) {
        std::size_t room = 0;
        char* const space = FreeSpace(room);
        const std::size_t part = std::min(room, size - done);
        std::memcpy(space, bytes + done, part);
        Fill(part);
        done += part;
    }
    return true;
}

bool RingBuffer::Read(void* data, std::size_t size) {
    if (size > mLength) {
        return false;
    }
    const std::size_t first = std::min(size, mCapacity - mBegin);
    std::memcpy(data, mBytes.get() + mBegin, first);
    std::memcpy(static_cast<char*>(data) + first, mBytes.get(), size - first);
    return Remove(size);
}

bool RingBuffer::Remove(std::size_t size) {
    if (size > mLength) {
        return false;
    }
    mLength -= size;
    // Where nothing is left, the next bytes lie together again.
    mBegin = mLength == 0 ? 0 : (mBegin + size) % mCapacity;
    return true;
}

char* RingBuffer::FreeSpace(std::size_t& size) {
    const std::size_t end = (mBegin + mLength) % mCapacity;
    size = std::min(GetFree(), mCapacity - end);
    return mBytes.get() + end;
}

void RingBuffer::Clear() {
    mBegin = 0;
    mLength = 0;
}
