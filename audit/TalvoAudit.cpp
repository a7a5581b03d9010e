#include "TalvoAudit.h"

#include <algorithm>
#include <array>
#include <boost/filesystem.hpp>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <utility>

#include "ShellCommand.h"

namespace fs = boost::filesystem;

namespace {

constexpr const char* kOverflowText = "*** TalvoAudit buffer overflow, message truncated ***\n";
constexpr unsigned kGenerations = 5;

/// What the queue holds at most while a file is compressed. It reaches the tailing clients at one go, so it
/// is to fit into what those may have waiting.
constexpr std::size_t kMaxPendingBytes = std::size_t{512} << 10;

RootedPath LogPath(std::string root, std::string path) {
    return path.empty() ? RootedPath(std::move(root), TalvoAudit::kDefaultLogPath)
                        : RootedPath(std::move(path));
}

std::string TagPrefix(std::uint32_t tag) {
    std::array<char, 16> prefix{};
    std::snprintf(prefix.data(), prefix.size(), "[%-8.8x] ", tag);
    return prefix.data();
}

void Print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

/// What a queued text takes, the string object included: many short lines aren't free.
std::size_t Footprint(const std::string& text) {
    return text.size() + sizeof(std::string);
}

}  // namespace

std::mutex TalvoAudit::sWriteMutex;

TalvoAudit::TalvoAudit(std::string root, std::string path)
    : mLogPath(LogPath(std::move(root), std::move(path))) {
    const std::lock_guard lock(sWriteMutex);
    // Only a file is put aside: a device or a folder of that name must stay where it is.
    boost::system::error_code ignored;
    if (fs::is_regular_file(mLogPath.Actual(), ignored)) {
        Rotate();
    } else {
        mLogFile.Open(mLogPath.Actual());
    }
    if (!mLogFile.IsOpen()) {
        Print("Failed to open log file '" + mLogPath.Shown() + "', output to console only\n");
    }
}

void TalvoAudit::OutputV(const char* format, std::va_list arguments) {
    Deliver(FormatLine({}, format, arguments), Console::Shown);
}

void TalvoAudit::OutputTaggedV(std::uint32_t tag, const char* format, std::va_list arguments) {
    Deliver(FormatLine(TagPrefix(tag), format, arguments), Console::Shown);
}

void TalvoAudit::OutputFlaggedV(unsigned flags, const char* format, std::va_list arguments) {
    Deliver(FormatLine(TimePrefix(flags), format, arguments), Console::Shown);
}

void TalvoAudit::OutputFlaggedTaggedV(unsigned flags, std::uint32_t tag, const char* format,
                                      std::va_list arguments) {
    Deliver(FormatLine(TimePrefix(flags) + TagPrefix(tag), format, arguments), Console::Shown);
}

void TalvoAudit::LogOnlyV(unsigned flags, std::uint32_t tag, const char* format, std::va_list arguments) {
    Deliver(FormatLine(TimePrefix(flags) + TagPrefix(tag), format, arguments), Console::LeftOut);
}

void TalvoAudit::OutputLongV(unsigned flags, const std::string& text) {
    const std::string whole = TimePrefix(flags) + text;
    constexpr std::size_t kPiece = kLineBytes - 1;
    Texts pieces;
    for (std::size_t at = 0; at < whole.size(); at += kPiece) {
        pieces.push_back(whole.substr(at, kPiece));
    }
    Deliver(std::move(pieces), Console::Shown);
}

void TalvoAudit::OnOutput(const std::string& /*line*/) {}

std::string TalvoAudit::TimePrefix(unsigned flags) const {
    const std::string stamp = TimeStamp(flags);
    return stamp.empty() ? stamp : stamp + " ";
}

TalvoAudit::Texts TalvoAudit::FormatLine(std::string prefix, const char* format, std::va_list arguments) {
    std::array<char, kLineBytes> message;
    const std::size_t room = kLineBytes - prefix.size();
    const int length = std::vsnprintf(message.data(), room, format, arguments);
    const std::size_t needed = length < 0 ? 0 : static_cast<std::size_t>(length);
    prefix.append(message.data(), std::min(needed, room - 1));
    Texts texts;
    if (needed >= room) {
        texts.emplace_back(kOverflowText);
    }
    texts.push_back(std::move(prefix));
    return texts;
}

void TalvoAudit::Deliver(Texts texts, Console console) {
    if (mRotating && LeaveInQueue(texts, console)) {
        return;
    }
    const std::lock_guard lock(sWriteMutex);
    if (mLogFile.Size() > kMaxLogSize) {
        Rotate();
    }
    for (const std::string& text : texts) {
        if (console == Console::Shown) {
            Print(text);
        }
        WriteLine(text);
    }
}

/// False where the texts have to go the straight way: the rotation has just ended, or the queue is full. The
/// caller then waits for WriteMutex, so that nothing is lost however much is logged.
bool TalvoAudit::LeaveInQueue(Texts& texts, Console console) {
    std::size_t bytes = 0;
    for (const std::string& text : texts) {
        bytes += Footprint(text);
    }
    const std::lock_guard lock(mQueueMutex);
    if (!mRotating || mPendingBytes + bytes > kMaxPendingBytes) {
        return false;
    }
    mPendingBytes += bytes;
    for (std::string& text : texts) {
        if (console == Console::Shown) {
            Print(text);
        }
        mPendingLines.push_back(std::move(text));
    }
    return true;
}

/// To the file, where one is open, and to OnOutput. A line that a full disk keeps out of the file isn't tried
/// again.
void TalvoAudit::WriteLine(const std::string& text) {
    mLogFile.Append(text);
    OnOutput(text);
}

/// Called with WriteMutex held, as all below.
void TalvoAudit::Rotate() {
    mRotating = true;
    try {
        ShiftGenerations();
        // The old file stays open meanwhile: its descriptor might be the last one to be had.
        CompressLog();
        OpenFreshLog();
    } catch (const std::exception& error) {
        const std::string message =
            "Failed to rotate logs, logging to file halted: " + mLogPath.ShownIn(error.what()) + "\n";
        Print(message);
        WriteLine(message);
        mLogFile.Close();
    }
    DrainQueue();
}

void TalvoAudit::ShiftGenerations() const {
    for (unsigned number = kGenerations; number > 1; --number) {
        if (fs::exists(Generation(number - 1))) {
            fs::rename(Generation(number - 1), Generation(number));
        }
    }
}

void TalvoAudit::CompressLog() const {
    const std::string plain = PlainGeneration(1);
    fs::rename(mLogPath.Actual(), plain);
    // A name that starts with a dash would be taken for an option.
    sys::RunShellCommand("gzip " + sys::ShellWord(plain.front() == '-' ? "./" + plain : plain));
    // Without gzip, or without room for its work, the old lines go: an unbounded log would fill the disk.
    fs::remove(plain);
}

void TalvoAudit::OpenFreshLog() {
    if (!mLogFile.Open(mLogPath.Actual())) {
        throw fs::filesystem_error("open", mLogPath.Actual(),
                                   boost::system::error_code(errno, boost::system::system_category()));
    }
}

/// The flag falls under the same lock that the last line was taken under, so none can follow and be
/// forgotten.
void TalvoAudit::DrainQueue() {
    const std::lock_guard lock(mQueueMutex);
    for (const std::string& line : mPendingLines) {
        WriteLine(line);
    }
    mPendingLines.clear();
    mPendingBytes = 0;
    mRotating = false;
}

std::string TalvoAudit::PlainGeneration(unsigned number) const {
    return mLogPath.Actual() + "." + std::to_string(number);
}

std::string TalvoAudit::Generation(unsigned number) const {
    return PlainGeneration(number) + ".gz";
}
