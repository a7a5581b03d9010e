#pragma once

#include <sys/resource.h>
#include <unistd.h>

/// Leaves `spare` descriptors for its lifetime: no more can be opened.
class FewDescriptors {
  public:
    explicit FewDescriptors(unsigned spare) {
        getrlimit(RLIMIT_NOFILE, &mBefore);
        const rlimit limit{static_cast<rlim_t>(Next()) + spare, mBefore.rlim_max};
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &mBefore); }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;

    /// The one that is opened next.
    static int Next() {
        const int next = dup(STDOUT_FILENO);
        close(next);
        return next;
    }

  private:
    rlimit mBefore{};
};
