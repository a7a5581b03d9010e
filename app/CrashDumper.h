#pragma once

#include <memory>
#include <string>

namespace google_breakpad {
class ExceptionHandler;
class MinidumpDescriptor;
}  // namespace google_breakpad

/// While it lives, a fatal signal leaves a minidump in the dump folder and prints its path on standard error.
/// There is one in the process.
class CrashDumper {
  public:
    /// Prints and makes the folder for the program named by `programPath` (argv[0]), below `root`. A folder
    /// that can't be made is no reason not to run.
    CrashDumper(const std::string& root, const std::string& programPath);
    ~CrashDumper();
    CrashDumper(const CrashDumper&) = delete;
    CrashDumper& operator=(const CrashDumper&) = delete;

  private:
    std::shared_ptr<google_breakpad::MinidumpDescriptor> mDescriptor;
    std::shared_ptr<google_breakpad::ExceptionHandler> mHandler;
};
