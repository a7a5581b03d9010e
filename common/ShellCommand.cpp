#include "ShellCommand.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace {

/// The two opaque records of posix_spawn, released together.
class SpawnSettings {
  public:
    SpawnSettings() {
        posix_spawn_file_actions_init(&mActions);
        posix_spawnattr_init(&mAttributes);
        posix_spawn_file_actions_addopen(&mActions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addclosefrom_np(&mActions, STDERR_FILENO + 1);
        sigset_t signals;
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&mAttributes, &signals);
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&mAttributes, &signals);
        posix_spawnattr_setpgroup(&mAttributes, 0);
        posix_spawnattr_setflags(&mAttributes,
                                 POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
    }

    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    ~SpawnSettings() {
        posix_spawnattr_destroy(&mAttributes);
        posix_spawn_file_actions_destroy(&mActions);
    }

    const posix_spawn_file_actions_t* Actions() const { return &mActions; }
    const posix_spawnattr_t* Attributes() const { return &mAttributes; }

  private:
    posix_spawn_file_actions_t mActions{};
    posix_spawnattr_t mAttributes{};
};

}  // namespace

int sys::RunShellCommand(const std::string& text) {
    const SpawnSettings settings;
    std::string command = text;
    char shell[] = "sh";
    char option[] = "-c";
    char* const arguments[] = {shell, option, command.data(), nullptr};
    pid_t child = -1;
    if (posix_spawn(&child, "/bin/sh", settings.Actions(), settings.Attributes(), arguments, environ) != 0) {
        return -1;
    }
    int status = -1;
    while (waitpid(child, &status, 0) == -1) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return status;
}

std::string sys::ShellWord(const std::string& word) {
    constexpr const char* kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./-+:@%=,";
    if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) {
        return word;
    }
    std::string quoted = "'";
    for (const char c : word) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}
