#pragma once

#include <sstream>
#include <string>

#include "DataStream.h"

/// A byte stream in memory.
class IOStream : public DataStream {
  public:
    IOStream() = default;
    explicit IOStream(const std::string& bytes) : mStream(bytes) {}

    bool ReadData(void* buffer, std::size_t size) override;
    bool WriteData(const void* buffer, std::size_t size) override;
    void IgnoreData(std::size_t size) override;

    /// All that was written.
    std::string Bytes() const { return mStream.str(); }

    /// Starts afresh with these bytes to read, with all counts at 0.
    void Reset(const std::string& bytes = {});

  private:
    std::stringstream mStream;
};
