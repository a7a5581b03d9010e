#pragma once

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <cstdio>

/// Keeps this thread, and those that it starts, on the core on which it runs now, as long as it lives.
class OneCore {
  public:
    OneCore() {
        pthread_getaffinity_np(pthread_self(), sizeof mFormer, &mFormer);
        cpu_set_t here;
        CPU_ZERO(&here);
        CPU_SET(sched_getcpu(), &here);
        pthread_setaffinity_np(pthread_self(), sizeof here, &here);
    }
    ~OneCore() { pthread_setaffinity_np(pthread_self(), sizeof mFormer, &mFormer); }
    OneCore(const OneCore&) = delete;
    OneCore& operator=(const OneCore&) = delete;

  private:
    cpu_set_t mFormer{};
};

/// Sends standard output, where the log prints, to nowhere while it lives.
class QuietOutput {
  public:
    QuietOutput() : mFormer((std::fflush(stdout), dup(STDOUT_FILENO))) {
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
    ~QuietOutput() {
        std::fflush(stdout);
        dup2(mFormer, STDOUT_FILENO);
        close(mFormer);
    }
    QuietOutput(const QuietOutput&) = delete;
    QuietOutput& operator=(const QuietOutput&) = delete;

  private:
    int mFormer;
};
