#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace sim {

/// The application's accesses to registers that the board doesn't have, or in a direction that they don't
/// take. Each is a fault of the application: it goes to standard error, and tests check that there is none.
/// Owned by the board and used under its lock.
class ViolationLog {
  public:
    static constexpr std::size_t kMaxKept = 100;  ///< the first ones; what follows is dropped, after one line

    void Report(std::string text);
    const std::vector<std::string>& Reports() const { return mReports; }

  private:
    std::vector<std::string> mReports;
    bool mFull = false;
};

}  // namespace sim
