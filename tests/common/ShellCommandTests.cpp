#include "ShellCommand.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>

namespace {

std::string OutputOf(const std::string& command) {
    testing::internal::CaptureStdout();
    sys::RunShellCommand(command);
    return testing::internal::GetCapturedStdout();
}

}  // namespace

TEST(ShellCommand, GivesTheChildNoDescriptorOfOursAndAnEmptyInput) {
    const int descriptor = open("/dev/null", O_RDONLY);
    ASSERT_GT(descriptor, STDERR_FILENO);
    const std::string shown =
        OutputOf("test -e /dev/fd/" + std::to_string(descriptor) + " && echo inherited; wc -c | tr -d ' '");
    close(descriptor);
    EXPECT_EQ(shown, "0\n");
}

TEST(ShellCommand, ReturnsHowTheCommandEndedAndGivesItDefaultSignalsWhateverWeIgnore) {
    const int exited = sys::RunShellCommand("exit 3");
    EXPECT_TRUE(WIFEXITED(exited) && WEXITSTATUS(exited) == 3);
    auto* const previous = std::signal(SIGTERM, SIG_IGN);
    const int killed = sys::RunShellCommand("kill -TERM $$");
    std::signal(SIGTERM, previous);
    EXPECT_TRUE(WIFSIGNALED(killed) && WTERMSIG(killed) == SIGTERM);
}

TEST(ShellWord, ReachesTheCommandAsItStandsWhateverItHolds) {
    for (const char* word : {"/var/log/T2.log.1", "", "a b", "it's", "''", "$HOME `id` $(id)", "a;b|c&d>e",
                             "~", "line\nbreak", "*", "\"quoted\"", "back\\slash", "-n"}) {
        EXPECT_EQ(OutputOf("printf '<%s>' " + sys::ShellWord(word)), "<" + std::string(word) + ">");
    }
    EXPECT_EQ(sys::ShellWord("/var/log/T2.log.1"), "/var/log/T2.log.1");
}
