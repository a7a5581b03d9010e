#include <gmock/gmock.h>

#include <unistd.h>
#include <boost/filesystem.hpp>
#include <csignal>

#include "Tool.h"
#include "VirtualBox.h"

using testing::HasSubstr;
using testing::Not;

namespace {

/// Runs brindlet-sim to its end with these application options, in `folder`.
struct ShortRun {
    ShortRun(const ScopedFolder& folder, std::vector<std::string> benchOptions,
             const std::vector<std::string>& applicationOptions)
        : mTrace(folder / "trace") {
        benchOptions.insert(benchOptions.end(),
                            {"--root", folder / "root", "--bench", "127.0.0.1:0", "--trace", mTrace, "--"});
        benchOptions.insert(benchOptions.end(), applicationOptions.begin(), applicationOptions.end());
        Process process(folder, "brindlet-sim", benchOptions);
        mStatus = process.WaitForEnd();
        mOutput = process.Output();
        mErrors = process.Errors();
    }

    std::string mTrace;
    std::string mOutput;
    std::string mErrors;
    int mStatus = 0;
};

/// The only minidump that the virtual box has left below the folder.
std::string MinidumpIn(const ScopedFolder& folder) {
    std::vector<std::string> dumps;
    const std::string dumpFolder = folder / "root/var/lib/sorvel/crashdumps/brindlet-sim";
    for (const auto& entry : boost::filesystem::directory_iterator(dumpFolder)) {
        dumps.push_back(entry.path().string());
    }
    EXPECT_EQ(dumps.size(), 1U);
    return dumps.front();
}

}  // namespace

TEST(StartUp, AnswersHelpAndVersionWithoutTouchingADevice) {
    for (const char* option : {"--help", "--version"}) {
        const ScopedFolder folder;
        const ShortRun run(folder, {}, {option});
        EXPECT_EQ(run.mStatus, 1);
        EXPECT_EQ(ContentOf(run.mTrace), "");
        EXPECT_THAT(run.mOutput, Not(HasSubstr("starting")));
    }
}

TEST(StartUp, EndsWithAMinidumpOnABadOptionOrATakenPort) {
    const ListeningSocket taken;
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{"--bogus"},
          {"--telnet", "10.1.2.3:0"},
          {"--telnet", "127.0.0.1:" + std::to_string(taken.Port())}}) {
        const ScopedFolder folder;
        const ShortRun run(folder, {}, options);
        EXPECT_EQ(run.mStatus, -SIGABRT) << run.mErrors;
        EXPECT_THAT(run.mErrors, HasSubstr("MINIDUMP=/var/lib/sorvel/crashdumps/brindlet-sim/"));
        EXPECT_EQ(ContentOf(MinidumpIn(folder)).substr(0, 4), "MDMP");
    }
}

#ifdef BRINDLET_SYMBOLS_DIR
TEST(StartUp, LeavesAMinidumpWhoseStackCanBeRead) {
    const ScopedFolder folder;
    Process box(folder, "brindlet-sim",
                {"--root", folder / "root", "--bench", "127.0.0.1:0", "--", "--telnet",
                 "127.0.0.1:" + std::to_string(FreePort())});
    box.WaitForOutput("Brindlet: configuring audio for Talvo 2 operation");
    box.Signal(SIGSEGV);
    EXPECT_EQ(box.WaitForEnd(), -SIGSEGV);
    const std::string dump = MinidumpIn(folder);
    const std::string stack = RunTool({BRINDLET_STACK_TOOL, dump, BRINDLET_SYMBOLS_DIR});
    EXPECT_THAT(stack, HasSubstr("Crash reason:  SIGSEGV"));
    EXPECT_THAT(stack, testing::ContainsRegex("\n[ 0-9]+ brindlet-sim!RunApplication[^\n]+cpp : [0-9]+"));
    EXPECT_THAT(
        [&] {
            RunTool({BRINDLET_STACK_TOOL, dump, folder.Path()});
        },
        testing::ThrowsMessage<std::runtime_error>(HasSubstr("no symbols of that build of brindlet-sim")));
}
#endif

TEST(StartUp, NamesTheDeviceThatIsMissing) {
    const ScopedFolder folder;
    const ShortRun guarded(folder, {"--without", "0009"},
                           {"--telnet", "127.0.0.1:" + std::to_string(FreePort())});
    EXPECT_EQ(guarded.mStatus, 0) << guarded.mErrors;
    EXPECT_THAT(ContentOf(guarded.mTrace), testing::ContainsRegex("^[0-9]+ 0010 R 0x18 0x000004d2\n"));
    EXPECT_THAT(guarded.mOutput, HasSubstr("FSI '0009' (device '', fd -1, size 0): No such device\n"));
    const ShortRun early(folder, {"--without", "0010"}, {});
    EXPECT_EQ(early.mStatus, -SIGABRT) << "the build number is read first of all";
    EXPECT_THAT(early.mErrors, HasSubstr("FSI '0010' (device '', fd -1, size 0)"));
}

TEST(StartUp, OfTheProductEndsOnAMachineWithoutTheFpga) {
    if (boost::filesystem::exists("/sys/class/uio")) {
        GTEST_SKIP() << "this machine has UIO devices";
    }
    const ScopedFolder folder;
    Process product(folder, "TalvoBrindlet", {});
    EXPECT_EQ(product.WaitForEnd(), -SIGABRT);
    EXPECT_THAT(product.Errors(), HasSubstr("FSI '0010' (device '', fd -1, size 0)"));
    EXPECT_THAT(product.Output(), HasSubstr("Google Breakpad dump location: "
                                            "/var/lib/sorvel/crashdumps/TalvoBrindlet\n"));
    const std::string errors = product.Errors();
    const std::string label = "MINIDUMP=";
    const std::size_t start = errors.find(label);
    ASSERT_NE(start, std::string::npos) << errors;
    const std::string dump =
        errors.substr(start + label.size(), errors.find('\n', start) - start - label.size());
    // Only root can make the folder for it.
    if (boost::filesystem::exists(dump)) {
        EXPECT_EQ(ContentOf(dump).substr(0, 4), "MDMP");
        boost::filesystem::remove(dump);
    } else {
        EXPECT_NE(getuid(), 0U);
    }
    Process version(folder, "TalvoBrindlet", {"--version"});
    EXPECT_EQ(version.WaitForEnd(), 1);
    EXPECT_THAT(version.Output(), HasSubstr("Talvo Brindlet 2.0.5980\n"));
}

TEST(Stop, IsOrderlyByEitherSignalAndByQuit) {
    for (const int signal : {SIGINT, SIGTERM, 0}) {
        VirtualBox box;
        box.Bench().Ask("sync hold");
        box.Do("adma/sync");
        LineClient tailing(box.ShellPort());
        tailing.ReadUntil("more about 'cmd'.\n");
        if (signal != 0) {
            box.App().Signal(signal);
        } else {
            box.Shell().Send("quit\n");
        }
        EXPECT_EQ(box.App().WaitForEnd(), 0);
        EXPECT_THAT(box.App().Errors(), Not(HasSubstr("Sanitizer")));
        const std::string line = "Brindlet initialisation stopping due to ASIO error ...system : 0\n";
        EXPECT_EQ(box.LogText().find(line) != std::string::npos, signal != 0);
        EXPECT_THAT(tailing.ReadToEnd(), HasSubstr(signal != 0 ? line : "Received quit"));
    }
}

TEST(Stop, LeavesTheLogToTheNextStartAsGenerationOne) {
    VirtualBox box;
    box.Shell().Send("quit\n");
    ASSERT_EQ(box.App().WaitForEnd(), 0);
    const std::string log = box.LogText();
    EXPECT_THAT(log, HasSubstr("Sorvel Brindlet Controller: Application brindlet-sim (v.2.0.5980)\n"));
    EXPECT_THAT(log, HasSubstr("CommandLine: Received quit\r\n"));
    box.Restart();
    EXPECT_THAT(box.LogText(), Not(HasSubstr("Received quit")));
    EXPECT_TRUE(boost::filesystem::exists(box.File("/var/log/T2.log.1.gz")));
}

TEST(DebugConfiguration, IsReadFromTheFileAtStart) {
    VirtualBox box;
    box.Shell().Send("quit\n");
    ASSERT_EQ(box.App().WaitForEnd(), 0);
    WriteFile(box.File("/home/root/TalvoBrindlet/debug.conf"), "on TalvoIoBox nosuch\noff Information\n");
    box.Restart();
    EXPECT_THAT(box.LogText(), HasSubstr("Debug Feature TalvoIoBox (178) is On\r\n"));
    EXPECT_THAT(box.LogText(), HasSubstr("Feature nosuch is unknown \r\n"));
    EXPECT_THAT(box.LogText(), HasSubstr("Brindlet: created application controller\n"));
    EXPECT_THAT(box.LogText(), Not(HasSubstr("ASIO service initialised")));
}
