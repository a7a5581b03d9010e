#pragma once

#include <cstddef>
#include <memory>

/// A ring of bytes of fixed capacity between a socket and the reader of its stream. One thread.
class RingBuffer {
  public:
    /// The memory isn't touched before bytes come.
    explicit RingBuffer(std::size_t capacity) : mBytes(new char[capacity]), mCapacity(capacity) {}

    std::size_t GetLength() const { return mLength; }
    std::size_t GetFree() const { return mCapacity - mLength; }

    /// Appends all bytes, or none where there is no room: false.
    bool Write(const void* data, std::size_t size);

    /// Takes `size` bytes out; false, and nothing taken, where there are fewer.
    bool Read(void* data, std::size_t size);

    /// Discards `size` bytes; false, and nothing discarded, where there are fewer.
    bool Remove(std::size_t size);

    /// The free bytes that lie together where the next one goes, for a read straight from a descriptor, which
    /// `Fill` then counts in.
    char* FreeSpace(std::size_t& size);
    void Fill(std::size_t size) { mLength += size; }

    void Clear();

  private:
    std::unique_ptr<char[]> mBytes;
    std::size_t mCapacity;
    std::size_t mBegin = 0;
    std::size_t mLength = 0;
};
