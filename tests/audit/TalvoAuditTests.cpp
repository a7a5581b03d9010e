#include "TalvoAudit.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <future>
#include <iostream>
#include <thread>

#include "ScopedFolder.h"
#include "ShellCommand.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

namespace fs = boost::filesystem;

namespace {

constexpr const char* kHalted = "Failed to rotate logs, logging to file halted: ";
constexpr const char* kOverflow = "*** TalvoAudit buffer overflow, message truncated ***\n";

class RecordingAudit : public TalvoAudit {
  public:
    explicit RecordingAudit(const std::string& path) : TalvoAudit("", path) {}

    std::string Heard() const {
        std::string all;
        for (const std::string& line : mHeard) {
            all += line;
        }
        return all;
    }

    /// Writes exactly the size at which the file is still not put aside.
    void FillToTheLimit() {
        for (std::uint64_t size = 0; size < kMaxLogSize; size += 1024) {
            LogOnly(0, 0xF, "%1012s\n", "");
        }
        mHeard.clear();
    }

    std::vector<std::string> mHeard;

  protected:
    void OnOutput(const std::string& line) override { mHeard.push_back(line); }
};

std::string Unzipped(const std::string& path) {
    const std::string text = path + ".text";
    sys::RunShellCommand("gzip -dc <" + sys::ShellWord(path) + " >" + sys::ShellWord(text));
    return ContentOf(text);
}

/// A folder for the log, and what goes to standard output kept until the end of the test, to be looked at.
class LogFolder : public testing::Test {
  protected:
    LogFolder() { testing::internal::CaptureStdout(); }
    ~LogFolder() override { std::cout << testing::internal::GetCapturedStdout() << std::flush; }

    /// What was printed since the last call.
    static std::string Console() {
        std::string printed = testing::internal::GetCapturedStdout();
        testing::internal::CaptureStdout();
        return printed;
    }

    std::string Generation(unsigned number) const { return mPath + "." + std::to_string(number) + ".gz"; }

    ScopedFolder mFolder;
    std::string mPath = mFolder / "T2.log";
};

void WithCommandPath(const std::string& path, const std::function<void()>& body) {
    const std::string previous = std::getenv("PATH");
    setenv("PATH", path.c_str(), 1);
    body();
    setenv("PATH", previous.c_str(), 1);
}

/// Fills the log and has a thread log "first to see it", whose rotation stands in the middle, in gzip, until
/// Finish.
class HeldRotation {
  public:
    HeldRotation(const ScopedFolder& folder, RecordingAudit& log) : mGo(folder / "go") {
        const std::string usual = std::getenv("PATH");
        const std::string started = folder / "started";
        mkfifo(started.c_str(), 0600);
        mkfifo(mGo.c_str(), 0600);
        fs::create_directory(folder / "bin");
        WriteFile(folder / "bin/gzip", "#!/bin/sh\nrm \"$0\"\necho > '" + started + "'\nread go < '" + mGo +
                                           "'\nPATH='" + usual + "' exec gzip \"$@\"\n");
        chmod((folder / "bin/gzip").c_str(), 0700);
        log.FillToTheLimit();
        log.Output("above the limit\n");
        log.mHeard.clear();
        WithCommandPath((folder / "bin:") + usual, [this, &log, &started] {
            mRotator = std::thread([&log] { log.Output("first to see it\n"); });
            ContentOf(started);
        });
    }

    void Finish() {
        WriteFile(mGo, "\n");
        mRotator.join();
    }

  private:
    std::string mGo;
    std::thread mRotator;
};

/// Meanwhile no file of this process grows beyond `bytes`, as on a disk that is full.
void OnAFullDisk(rlim_t bytes, const std::function<void()>& body) {
    auto* const previousHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit previous{};
    getrlimit(RLIMIT_FSIZE, &previous);
    const rlimit full{bytes, previous.rlim_max};
    setrlimit(RLIMIT_FSIZE, &full);
    body();
    setrlimit(RLIMIT_FSIZE, &previous);
    std::signal(SIGXFSZ, previousHandler);
}

}  // namespace

TEST_F(LogFolder, EachFormCarriesItsPrefixesToConsoleFileAndListener) {
    RecordingAudit log(mPath);
    log.Output("a%d\n", 1);
    log.OutputTagged(0x1A, "b\n");
    log.OutputFlagged(Audit::kTimeStamp, "c\n");
    log.OutputFlaggedTagged(Audit::kTimeStamp, 0x40000002, "d\n");
    log.LogOnly(Audit::kTimeStamp, 0x10000000, "e\r\n");
    const std::string stamp = "\\[[0-9/]{8} [0-9:]{8}\\] ";
    EXPECT_THAT(log.mHeard, ElementsAre("a1\n", "[0000001a] b\n", MatchesRegex(stamp + "c\n"),
                                        MatchesRegex(stamp + "\\[40000002\\] d\n"),
                                        MatchesRegex(stamp + "\\[10000000\\] e\r\n")));
    EXPECT_EQ(ContentOf(mPath), log.Heard());
    EXPECT_EQ(Console() + log.mHeard.back(), log.Heard());
}

TEST_F(LogFolder, PutsTheFileAsideOnlyAboveTheLimitAndTellsWhereItCannot) {
    RecordingAudit log(mPath);
    log.FillToTheLimit();
    log.Output("at the limit\n");
    EXPECT_FALSE(fs::exists(Generation(1)));
    const std::string full = ContentOf(mPath);
    log.Output("above it\n");
    EXPECT_EQ(ContentOf(mPath), "above it\n");
    EXPECT_TRUE(Unzipped(Generation(1)) == full);
    EXPECT_FALSE(fs::exists(mPath + ".1"));

    log.FillToTheLimit();
    fs::create_directories(Generation(5) + "/inside");
    WriteFile(Generation(4), "");
    log.Output("next\n");
    ASSERT_THAT(log.mHeard, ElementsAre(StartsWith(kHalted), "next\n"));
    EXPECT_THAT(ContentOf(mPath), AllOf(StartsWith("above it\n"), EndsWith(" \n" + log.mHeard.front())));
    EXPECT_THAT(Console(), EndsWith(log.Heard()));
}

TEST_F(LogFolder, AStartBeginsAFreshFileAndKeepsFiveGenerationsWhateverTheName) {
    mPath = mFolder / "it's; a $(log)";
    WriteFile(mPath, "last run\n");
    for (unsigned number = 1; number <= 5; ++number) {
        WriteFile(Generation(number), "generation " + std::to_string(number));
    }
    const TalvoAudit log("", mPath);
    EXPECT_EQ(ContentOf(mPath), "");
    EXPECT_EQ(Unzipped(Generation(1)), "last run\n");
    for (unsigned number = 2; number <= 5; ++number) {
        EXPECT_EQ(ContentOf(Generation(number)), "generation " + std::to_string(number - 1));
    }
    EXPECT_FALSE(fs::exists(Generation(6)));
}

TEST_F(LogFolder, DropsTheOldLinesWhereNothingCanCompressThem) {
    WriteFile(mPath, "last run\n");
    testing::internal::CaptureStderr();
    WithCommandPath(mFolder.Path(), [this] { TalvoAudit("", mPath).Output("next\n"); });
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("gzip"));
    EXPECT_EQ(ContentOf(mPath), "next\n");
    EXPECT_FALSE(fs::exists(mPath + ".1") || fs::exists(Generation(1)));
}

TEST_F(LogFolder, GoesOnWithoutAFileWhereNoneCanBeAndLeavesWhatIsThere) {
    fs::create_directories(mFolder / "folder/inside");
    WriteFile(mFolder / "file", "");
    ASSERT_EQ(mkfifo((mFolder / "pipe").c_str(), 0600), 0);
    std::string expected;
    for (const char* name : {"folder", "pipe", "file/T2.log"}) {
        RecordingAudit log(mFolder / name);
        log.Output("still here\n");
        EXPECT_THAT(log.mHeard, ElementsAre("still here\n"));
        expected +=
            "Failed to open log file '" + (mFolder / name) + "', output to console only\nstill here\n";
    }
    EXPECT_EQ(Console(), expected);
    EXPECT_TRUE(fs::is_directory(mFolder / "folder/inside"));
    EXPECT_EQ(fs::status(mFolder / "pipe").type(), fs::fifo_file);
}

TEST_F(LogFolder, NamesAFailedRotationAtTheStartWithoutItsRoot) {
    fs::create_directories(mFolder / "var/log/T2.log.5.gz/inside");
    WriteFile(mFolder / "var/log/T2.log.4.gz", "");
    WriteFile(mFolder / "var/log/T2.log", "last run\n");
    TalvoAudit log(mFolder.Path(), "");
    log.Output("next\n");
    const std::string console = Console();
    EXPECT_THAT(
        console,
        AllOf(StartsWith(kHalted), HasSubstr("\"/var/log/T2.log.5.gz\""), Not(HasSubstr(mFolder.Path())),
              EndsWith("\nFailed to open log file '/var/log/T2.log', output to console only\nnext\n")));
    EXPECT_EQ(ContentOf(mFolder / "var/log/T2.log"), "last run\n");
}

TEST_F(LogFolder, LinesDuringARotationDoNotWaitAndGoAheadOfTheOneThatBeganItAlsoWhereItFails) {
    RecordingAudit log(mPath);
    HeldRotation rotation(mFolder, log);
    log.Output("queued\n");
    log.LogOnly(0, 7, "for the file\n");
    log.Output("%s", std::string(5000, 'x').c_str());
    rotation.Finish();
    const std::string cut(4095, 'x');
    EXPECT_THAT(log.mHeard,
                ElementsAre("queued\n", "[00000007] for the file\n", kOverflow, cut, "first to see it\n"));
    EXPECT_EQ(ContentOf(mPath), log.Heard());
    EXPECT_THAT(Console(), EndsWith("\nqueued\n" + (kOverflow + cut) + "first to see it\n"));

    const ScopedFolder other;
    fs::create_directory(other / "log");
    RecordingAudit unlucky(other / "log/T2.log");
    HeldRotation failing(other, unlucky);
    unlucky.Output("queued\n");
    fs::rename(other / "log", other / "elsewhere");
    failing.Finish();
    EXPECT_THAT(unlucky.mHeard, ElementsAre(StartsWith(kHalted), "queued\n", "first to see it\n"));
}

TEST_F(LogFolder, NoLineIsLostTornOrReorderedWhenManyThreadsLogAcrossRotations) {
    constexpr int kLines = 1000;
    RecordingAudit log(mPath);
    const auto lineOf = [](std::size_t thread, int line) {
        return std::to_string(thread) + " " + std::to_string(line) + " " + std::string(1000, 'x') + "\n";
    };
    std::vector<std::future<void>> threads;
    for (std::size_t number = 0; number < 4; ++number) {
        threads.push_back(std::async(std::launch::async, [&log, &lineOf, number] {
            for (int line = 0; line < kLines; ++line) {
                log.Output("%s", lineOf(number, line).c_str());
            }
        }));
    }
    threads.clear();  // waits for them
    ASSERT_TRUE(fs::exists(Generation(1)));
    std::string kept;
    for (unsigned number = 5; number > 0; --number) {
        kept += fs::exists(Generation(number)) ? Unzipped(Generation(number)) : std::string();
    }
    EXPECT_TRUE(kept + ContentOf(mPath) == log.Heard());
    std::array<int, 4> next{};
    for (const std::string& line : log.mHeard) {
        const auto number = static_cast<unsigned>(line.front() - '0');
        ASSERT_LT(number, next.size());
        ASSERT_EQ(line, lineOf(number, next[number]++));
    }
    EXPECT_THAT(next, testing::Each(kLines));
    EXPECT_EQ(Console().size(), log.Heard().size());
}

TEST_F(LogFolder, AFullDiskTearsNoLineAndTheLogGoesOnOnceThereIsRoom) {
    RecordingAudit log(mPath);
    const std::string big(60, 'b');
    log.LogOnly(0, 1, "%s\n", big.c_str());
    OnAFullDisk(100, [&log, &big] {
        log.LogOnly(0, 2, "%s\n", big.c_str());
        log.LogOnly(0, 3, "c\n");
    });
    log.LogOnly(0, 4, "d\n");
    EXPECT_EQ(ContentOf(mPath), "[00000001] " + big + "\n[00000003] c\n[00000004] d\n");
    EXPECT_EQ(log.mHeard.size(), 4U);
}

TEST_F(LogFolder, ALineThatIsCutIsAnnouncedAndALongTextIsWholeInPiecesThatFit) {
    RecordingAudit log(mPath);
    const std::string whole(TalvoAudit::kLineBytes - 1, 'x');
    log.Output("%s", whole.c_str());
    log.Output("%sy", whole.c_str());
    log.LogOnly(0, 5, "%s", whole.c_str());
    EXPECT_THAT(log.mHeard,
                ElementsAre(whole, kOverflow, whole, kOverflow, "[00000005] " + whole.substr(11)));
    EXPECT_EQ(ContentOf(mPath), log.Heard());
    EXPECT_EQ(Console(), whole + kOverflow + whole);
    log.mHeard.clear();
    const std::string text =
        std::string(5000, 'a') + std::string(1, '\0') + std::string(5000, 'b') + "%n\r\n";
    log.OutputLong(Feature::TalvoIoBox, text);
    log.OutputLong(Feature::Information, text);
    ASSERT_EQ(log.mHeard.size(), 3U) << "one that is off says nothing";
    EXPECT_THAT(log.mHeard.front(), MatchesRegex("\\[[0-9/]{8} [0-9:]{8}\\] a+"));
    EXPECT_EQ(log.Heard().substr(20), text);
    EXPECT_LT(log.mHeard.front().size(), TalvoAudit::kLineBytes);
    EXPECT_THAT(ContentOf(mPath), EndsWith(text));
    EXPECT_EQ(Console(), log.Heard());
}
