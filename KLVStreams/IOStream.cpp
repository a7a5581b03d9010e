#include "IOStream.h"

bool IOStream::ReadData(void* buffer, std::size_t size) {
    mStream.read(static_cast<char*>(buffer), static_cast<std::streamsize>(size));
    return !mStream.fail();
}

bool IOStream::WriteData(const void* buffer, std::size_t size) {
    mStream.write(static_cast<const char*>(buffer), static_cast<std::streamsize>(size));
    return mStream.good();
}

void IOStream::IgnoreData(std::size_t size) {
    mStream.ignore(static_cast<std::streamsize>(size));
}

void IOStream::Reset(const std::string& bytes) {
    // The old one would keep the memory of all that it has held.
    mStream = std::stringstream(bytes);
    ResetCounts();
}
