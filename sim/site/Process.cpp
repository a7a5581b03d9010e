#include "Process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>

#include "Tool.h"

namespace {

constexpr auto kPatience = std::chrono::seconds(20);
constexpr int kLookAgainMs = 2;

/// Calls `done` again and again until it holds; false where the patience ends first. For other processes
/// there is nothing to wait on.
template <class Predicate>
bool PollUntil(const Predicate& done) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        poll(nullptr, 0, kLookAgainMs);
    }
    return true;
}

std::vector<std::string> WithProgram(const std::string& program, const std::vector<std::string>& arguments) {
    std::vector<std::string> words{std::string(BRINDLET_BIN_DIR) + "/" + program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

}  // namespace

Process::Process(const ScopedFolder& folder, const std::string& program,
                 const std::vector<std::string>& arguments)
    : Process(folder, program, WithProgram(program, arguments), {}) {}

Process::Process(const ScopedFolder& folder, const std::string& name, std::vector<std::string> words,
                 const Streams& streams)
    : mOutput(folder / (name + ".out")), mErrors(folder / (name + ".err")) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (streams.mInput >= 0) {
        posix_spawn_file_actions_adddup2(&actions, streams.mInput, 0);
    }
    if (streams.mOutput >= 0) {
        posix_spawn_file_actions_adddup2(&actions, streams.mOutput, 1);
    } else {
        posix_spawn_file_actions_addopen(&actions, 1, mOutput.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    }
    posix_spawn_file_actions_addopen(&actions, 2, mErrors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int error =
        posix_spawnp(&mPid, words[0].c_str(), &actions, nullptr, Pointers(words).data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::runtime_error("cannot run " + words[0]);
    }
}

Process::~Process() {
    int status = 0;
    if (!HasEnded(status)) {
        kill(mPid, SIGKILL);
        waitpid(mPid, &status, 0);
    }
}

std::string Process::WaitForOutput(const std::string& text) {
    std::string rest;
    const bool found = PollUntil([&] {
        int status = 0;
        const bool ended = HasEnded(status);
        const std::string output = Output();
        const std::size_t start = output.find(text);
        const std::size_t end = output.find('\n', start == std::string::npos ? 0 : start);
        if (start != std::string::npos && end != std::string::npos) {
            rest = output.substr(start + text.size(), end - start - text.size());
            return true;
        }
        if (ended) {
            throw std::runtime_error("ended without '" + text + "': " + output + Errors());
        }
        return false;
    });
    if (!found) {
        throw std::runtime_error("no '" + text + "' in: " + Output() + Errors());
    }
    return rest;
}

void Process::Signal(int signal) {
    int status = 0;
    if (!HasEnded(status)) {
        kill(mPid, signal);
    }
}

Process::Holdings Process::Usage() const {
    const std::string folder = "/proc/" + std::to_string(mPid);
    Holdings holdings;
    for ([[maybe_unused]] const auto& entry : boost::filesystem::directory_iterator(folder + "/fd")) {
        ++holdings.mDescriptors;
    }
    const std::string status = ContentOf(folder + "/status");
    const std::string key = "VmRSS:";
    holdings.mResidentKib = std::stol(status.substr(status.find(key) + key.size()));
    return holdings;
}

int Process::WaitForEnd() {
    int status = 0;
    if (!PollUntil([&] { return HasEnded(status); })) {
        throw std::runtime_error("still running: " + Output() + Errors());
    }
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

bool Process::HasEnded(int& status) {
    if (!mEnded && waitpid(mPid, &mStatus, WNOHANG) == mPid) {
        mEnded = true;
    }
    status = mStatus;
    return mEnded;
}
