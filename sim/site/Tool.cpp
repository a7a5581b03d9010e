#include "Tool.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

std::vector<char*> Pointers(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::string RunTool(std::vector<std::string> words) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 2);
    pid_t pid = -1;
    const int error =
        posix_spawnp(&pid, words[0].c_str(), &actions, nullptr, Pointers(words).data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    std::string output;
    std::array<char, 512> piece{};
    for (ssize_t size = 0; error == 0 && (size = read(ends[0], piece.data(), piece.size())) > 0;) {
        output.append(piece.data(), static_cast<std::size_t>(size));
    }
    close(ends[0]);
    int status = 0;
    if (error != 0 || waitpid(pid, &status, 0) != pid || status != 0) {
        std::string command;
        for (const std::string& word : words) {
            command += word + " ";
        }
        throw std::runtime_error(command + "failed: " + output);
    }
    return output;
}
