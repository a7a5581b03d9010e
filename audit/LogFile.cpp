#include "LogFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

bool LogFile::Open(const std::string& path) {
    Close();
    // Non-blocking, for a named pipe without a reader would hold up the start of the application for ever.
    constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    mDescriptor = open(path.c_str(), kFlags, 0644);
    if (!IsOpen()) {
        return false;
    }
    struct stat status {};
    if (fstat(mDescriptor, &status) != 0 || (!S_ISREG(status.st_mode) && !S_ISCHR(status.st_mode))) {
        Close();
        errno = EINVAL;
        return false;
    }
    mDevice = S_ISCHR(status.st_mode);
    return true;
}

void LogFile::Close() {
    if (IsOpen()) {
        close(mDescriptor);
    }
    mDescriptor = -1;
    mSize = 0;
}

bool LogFile::Append(std::string_view text) {
    if (!IsOpen()) {
        return false;
    }
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = write(mDescriptor, text.data() + written, text.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            CutBack(written);
            return false;
        }
        written += static_cast<std::size_t>(count);
    }
    CountAppended(written);
    return true;
}

void LogFile::CutBack(std::size_t torn) {
    // The length is asked for rather than remembered: somebody may have emptied the file meanwhile.
    struct stat status {};
    const bool known = fstat(mDescriptor, &status) == 0 && status.st_size >= static_cast<off_t>(torn);
    if (!known || ftruncate(mDescriptor, status.st_size - static_cast<off_t>(torn)) != 0) {
        CountAppended(torn);
    }
}

void LogFile::CountAppended(std::size_t bytes) {
    if (!mDevice) {
        mSize += bytes;
    }
}
