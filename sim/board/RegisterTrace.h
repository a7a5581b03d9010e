#pragma once

#include <cstdint>
#include <string>

#include "RegisterBlock.h"

namespace sim {

/// A file with one line for each register access of the application, in order: "MICROSECONDS IDENTITY R|W
/// 0xOFFSET 0xVALUE", timed from the start of the trace. What is recorded is on disk after the next Flush.
/// Owned by the board and used under its lock.
class RegisterTrace {
  public:
    /// Makes the file, or empties the one there. Throws BadText where it can't be opened or is a pipe, a
    /// socket or a folder: what blocks would stop the board.
    explicit RegisterTrace(const std::string& path);
    ~RegisterTrace();
    RegisterTrace(const RegisterTrace&) = delete;
    RegisterTrace& operator=(const RegisterTrace&) = delete;

    /// `direction` is 'R' or 'W'.
    void Record(const std::string& identity, char direction, std::uint32_t offset, std::uint32_t value);

    /// Writes out what has been recorded. A failure, as on a full disk, goes to standard error once and ends
    /// the trace there: what follows is not recorded.
    void Flush();

  private:
    void Fail(int error);

    const std::string mPath;
    const TimePoint mBegan;
    int mFile = -1;
    std::string mLines;
};

}  // namespace sim
