#include "WakeEvent.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

WakeEvent::WakeEvent() : mDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (mDescriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

WakeEvent::~WakeEvent() {
    close(mDescriptor);
}

void WakeEvent::Signal() const {
    constexpr std::uint64_t kOne = 1;
    [[maybe_unused]] const ssize_t written = write(mDescriptor, &kOne, sizeof kOne);
}
