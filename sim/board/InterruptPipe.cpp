#include "InterruptPipe.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <cerrno>
#include <system_error>

namespace sim {

InterruptPipe::InterruptPipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(),
                                "no pipe for the interrupts of a virtual node");
    }
    mReadEnd = ends[0];
    mWriteEnd = ends[1];
}

InterruptPipe::~InterruptPipe() {
    ::close(mReadEnd);
    ::close(mWriteEnd);
}

void InterruptPipe::Signal() {
    ++mCount;
    int waiting = 0;
    // A count that is still there will be read after this moment, so its reader finds this interrupt as well.
    if (::ioctl(mReadEnd, FIONREAD, &waiting) == 0 && waiting > 0) {
        return;
    }
    // Four bytes fit into an empty pipe at once, so nothing is left to retry.
    [[maybe_unused]] const ssize_t written = ::write(mWriteEnd, &mCount, sizeof mCount);
}

}  // namespace sim
