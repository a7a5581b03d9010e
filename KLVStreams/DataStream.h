#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// A stream of bytes that KLV sets frame, with what they count and measure on it. One thread at a time: at
/// most one top-level read set, and one top-level write set, exists on a stream.
class DataStream {
  public:
    DataStream() = default;
    DataStream(const DataStream&) = delete;
    DataStream& operator=(const DataStream&) = delete;
    virtual ~DataStream() = default;

    /// A write set closes: keeps the length that it measured, or reports one that isn't the declared one.
    virtual void EndKey(std::uint32_t index, std::uint32_t startPosition, std::uint32_t key);

    /// True when all `size` bytes were read.
    virtual bool ReadData(void* buffer, std::size_t size) = 0;
    virtual bool WriteData(const void* buffer, std::size_t size) = 0;

    /// Discards bytes of input.
    virtual void IgnoreData(std::size_t size) = 0;

    /// Hands accumulated output to the transport.
    virtual void Commit() {}

    /// Value and header bytes consumed by read sets, modulo 2^32.
    std::uint32_t BytesRead() const { return mBytesRead; }
    void CountRead(std::size_t size) { mBytesRead += static_cast<std::uint32_t>(size); }

    /// Bytes that write sets have put out, or would have while they measured, modulo 2^32.
    std::uint32_t BytesWritten() const { return mBytesWritten; }
    void CountWritten(std::size_t size) { mBytesWritten += static_cast<std::uint32_t>(size); }
    void ResetCounts();

    /// Discards `size` bytes of input and counts them as read; `report` says so in the log.
    void Skip(std::uint32_t size, bool report);

    // What measures messages of unknown length: a pass that only counts, and keeps the length of each set in
    // the order of opening, and a second pass that writes and takes the lengths from there.

    bool IsWriteEnabled() const { return mWriteEnabled; }
    void SetWriteEnabled(bool on) { mWriteEnabled = on; }

    /// Forgets all lengths; a measuring pass begins.
    void ResetMeasuring();

    /// The second pass begins: writing, with the lengths of the first.
    void StartWritingPass();

    /// The place in the lengths of the set that opens.
    std::uint32_t TakeIndex() { return mNextIndex++; }
    void AppendLength() { mLengths.push_back(0); }

    /// The length measured for this place; 0 for one that wasn't measured.
    std::uint32_t MeasuredLength(std::uint32_t index) const;

    /// The value's length as declared; negative when it wasn't.
    void SetPredefinedLength(std::int32_t length) { mPredefinedLength = length; }

  private:
    std::uint32_t mBytesRead = 0;
    std::uint32_t mBytesWritten = 0;
    bool mWriteEnabled = true;
    std::vector<std::uint32_t> mLengths;
    std::uint32_t mNextIndex = 0;
    std::int32_t mPredefinedLength = -1;
};
