#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "Audit.h"
#include "LogFile.h"
#include "RootedPath.h"

/// The log of this device: every line goes to standard output (but for LogOnly), to a file, and to OnOutput.
/// A file above 1 MiB is put aside before the next line, compressed, and a fresh one begun; five compressed
/// generations are kept, ".1.gz" the newest. Each start of the application begins a fresh file too.
///
/// Any thread may log. A line is formatted before any lock is taken. WriteMutex serialises the writers; while
/// its holder compresses the last file, which takes a while, the others leave their lines in a queue and go
/// on. The queue is drained into the new file. QueueMutex is only ever taken alone or under WriteMutex.
///
/// Where the file can't be opened or rotated, a message says so and the log goes on without one.
class TalvoAudit : public Audit {
  public:
    static constexpr std::uint64_t kMaxLogSize = 0x100000;
    static constexpr const char* kDefaultLogPath = "/var/log/T2.log";

    /// Room for one line and the zero behind it. What is longer is cut, and a line that says so goes ahead of
    /// it.
    static constexpr std::size_t kLineBytes = 4096;

    /// Logs to `path` as it is, or where that is empty to the default path below the folder `root`. Throws
    /// nothing for a path that doesn't serve.
    TalvoAudit(std::string root, std::string path);

  protected:
    void OutputV(const char* format, std::va_list arguments) override __attribute__((format(printf, 2, 0)));
    void OutputTaggedV(std::uint32_t tag, const char* format, std::va_list arguments) override
        __attribute__((format(printf, 3, 0)));
    void OutputFlaggedV(unsigned flags, const char* format, std::va_list arguments) override
        __attribute__((format(printf, 3, 0)));
    void OutputFlaggedTaggedV(unsigned flags, std::uint32_t tag, const char* format,
                              std::va_list arguments) override __attribute__((format(printf, 4, 0)));
    void LogOnlyV(unsigned flags, std::uint32_t tag, const char* format, std::va_list arguments) override
        __attribute__((format(printf, 4, 0)));
    void OutputLongV(unsigned flags, const std::string& text) override;

    /// Gets each text as it goes to the file, or would if there were one, in that order. Runs on the thread
    /// that logs, or that rotates the file, with the log's locks held: it must be quick and must not log.
    virtual void OnOutput(const std::string& line);

  private:
    enum class Console { Shown, LeftOut };

    /// What goes out together, with nothing of another thread between: a line and what announces its cut, or
    /// the pieces of a long text.
    using Texts = std::vector<std::string>;

    std::string TimePrefix(unsigned flags) const;
    static Texts FormatLine(std::string prefix, const char* format, std::va_list arguments)
        __attribute__((format(printf, 2, 0)));
    void Deliver(Texts texts, Console console);
    bool LeaveInQueue(Texts& texts, Console console);
    void WriteLine(const std::string& text);

    void Rotate();
    void ShiftGenerations() const;
    void CompressLog() const;
    void OpenFreshLog();
    void DrainQueue();
    std::string PlainGeneration(unsigned number) const;
    std::string Generation(unsigned number) const;

    static std::mutex sWriteMutex;

    const RootedPath mLogPath;
    LogFile mLogFile;
    std::atomic<bool> mRotating{false};
    std::mutex mQueueMutex;
    std::deque<std::string> mPendingLines;
    std::size_t mPendingBytes = 0;
};
