#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// A file of whole texts, each appended at once and unbuffered. A text that doesn't fit on the disk is left
/// out as a whole, and the next one is tried afresh, so that the file holds no torn text.
///
/// Its owner's lock guards it; child processes don't inherit it.
class LogFile {
  public:
    LogFile() = default;
    ~LogFile() { Close(); }
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /// Opens `path` as an empty file, after closing what was open. False, with errno set, where that fails or
    /// the path names anything but a file or a character device. Never waits, whatever the path names.
    bool Open(const std::string& path);
    void Close();
    bool IsOpen() const { return mDescriptor >= 0; }

    /// False where the text isn't in the file: nothing is open, or the disk is full.
    bool Append(std::string_view text);

    /// Bytes in the file, as far as this object knows: somebody else may have emptied it; 0 for a device and
    /// while nothing is open.
    std::uint64_t Size() const { return mSize; }

  private:
    void CutBack(std::size_t torn);
    void CountAppended(std::size_t bytes);

    int mDescriptor = -1;
    bool mDevice = false;
    std::uint64_t mSize = 0;
};
