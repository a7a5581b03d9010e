#include "RegisterTrace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "LineText.h"

namespace sim {
namespace {

constexpr mode_t kFileMode = 0644;

[[noreturn]] void Refuse(const std::string& path, const std::string& reason) {
    throw BadText("cannot write the register trace " + Quoted(path) + ": " + reason);
}

}  // namespace

RegisterTrace::RegisterTrace(const std::string& path) : mPath(path), mBegan(Clock::now()) {
    // O_NONBLOCK: opening a pipe without a reader fails instead of waiting for one.
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, kFileMode);
    if (file < 0) {
        Refuse(path, std::generic_category().message(errno));
    }
    struct stat status = {};
    if (::fstat(file, &status) != 0 || (!S_ISREG(status.st_mode) && !S_ISCHR(status.st_mode))) {
        ::close(file);
        Refuse(path, "it is neither a regular file nor a character device");
    }
    mFile = file;
}

RegisterTrace::~RegisterTrace() {
    if (mFile >= 0) {
        ::close(mFile);
    }
}

void RegisterTrace::Record(const std::string& identity, char direction, std::uint32_t offset,
                           std::uint32_t value) {
    if (mFile < 0) {
        return;
    }
    const auto since = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - mBegan);
    char line[80];
    const int length =
        std::snprintf(line, sizeof line, "%lld %s %c 0x%02x 0x%08x\n", static_cast<long long>(since.count()),
                      identity.c_str(), direction, offset, value);
    mLines.append(line, static_cast<std::size_t>(length));
}

void RegisterTrace::Flush() {
    std::size_t written = 0;
    while (mFile >= 0 && written < mLines.size()) {
        const ssize_t result = ::write(mFile, mLines.data() + written, mLines.size() - written);
        if (result > 0) {
            written += static_cast<std::size_t>(result);
        } else if (result == 0 || errno != EINTR) {
            Fail(result == 0 ? ENOSPC : errno);
        }
    }
    mLines.clear();
}

void RegisterTrace::Fail(int error) {
    std::fprintf(stderr, "virtual board: the register trace '%s' ends: %s\n", mPath.c_str(),
                 std::generic_category().message(error).c_str());
    ::close(mFile);
    mFile = -1;
}

}  // namespace sim
