#pragma once

#include <sys/resource.h>
#include <unistd.h>

/// Takes all descriptors away for its lifetime: no more can be opened.
class NoDescriptors {
  public:
    NoDescriptors() {
        getrlimit(RLIMIT_NOFILE, &mBefore);
        const int next = dup(STDOUT_FILENO);
        close(next);
        const rlimit limit{static_cast<rlim_t>(next), mBefore.rlim_max};
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &mBefore); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

  private:
    rlimit mBefore{};
};
