#include "TalvoAudit.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <sstream>
#include <thread>

#include "ScopedFolder.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

namespace fs = boost::filesystem;

namespace {

constexpr const char* kOverflow = "*** TalvoAudit buffer overflow, message truncated ***\n";

class RecordingAudit : public TalvoAudit {
  public:
    explicit RecordingAudit(const std::string& path) : TalvoAudit("", path) {}

    std::vector<std::string> mHeard;

    std::string Heard() const {
        std::string all;
        for (const std::string& line : mHeard) {
            all += line;
        }
        return all;
    }

    std::function<void(const std::string&)> mListener = [](const std::string&) {
    };

  protected:
    void OnOutput(const std::string& line) override {
        mHeard.push_back(line);
        mListener(line);
    }
};

std::string Unzipped(const std::string& path) {
    std::string content;
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(("gzip -dc '" + path + "'").c_str(), "r"), pclose);
    char buffer[4096];
    for (std::size_t count = 0; (count = std::fread(buffer, 1, sizeof buffer, pipe.get())) > 0;) {
        content.append(buffer, count);
    }
    return content;
}

std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// A folder for the log; standard output is kept from the terminal and can be looked at. It carries the
/// reports of failed checks too, so a test that fails prints it after all.
class LogFolder : public testing::Test {
  protected:
    LogFolder() { testing::internal::CaptureStdout(); }
    ~LogFolder() override {
        const std::string console = mCapturing ? Console() : std::string();
        if (HasFailure()) {
            std::cout << console << std::flush;
        }
    }

    /// What was printed until now; from here on nothing is kept back.
    std::string Console() {
        mCapturing = false;
        return testing::internal::GetCapturedStdout();
    }

    std::string Generation(unsigned number) const { return mPath + "." + std::to_string(number) + ".gz"; }

    /// Writes exactly the size at which a file is still not put aside; returns what was written.
    static std::string FillToTheLimit(TalvoAudit& log) {
        const std::string text = std::string(1012, 'f') + "\n";
        std::string all;
        while (all.size() < TalvoAudit::kMaxLogSize) {
            log.LogOnly(0, 0xF, "%s", text.c_str());
            all += "[0000000f] " + text;
        }
        return all;
    }

    ScopedFolder mFolder;
    std::string mPath = mFolder / "T2.log";

  private:
    bool mCapturing = true;
};

class ScopedCommandPath {
  public:
    explicit ScopedCommandPath(const std::string& path) { setenv("PATH", path.c_str(), 1); }
    ~ScopedCommandPath() { setenv("PATH", mPrevious.c_str(), 1); }
    ScopedCommandPath(const ScopedCommandPath&) = delete;
    ScopedCommandPath& operator=(const ScopedCommandPath&) = delete;

    const std::string& Previous() const { return mPrevious; }

  private:
    std::string mPrevious = std::getenv("PATH");
};

/// Puts a gzip on the PATH that says when it starts and goes on when it is told to; once, then it is the
/// usual one.
class HeldGzip {
  public:
    explicit HeldGzip(const ScopedFolder& folder)
        : mPath((folder / "bin:") + std::getenv("PATH")), mStarted(folder / "started"), mGo(folder / "go") {
        mkfifo(mStarted.c_str(), 0600);
        mkfifo(mGo.c_str(), 0600);
        fs::create_directory(folder / "bin");
        WriteFile(folder / "bin/gzip", "#!/bin/sh\nrm \"$0\"\necho > '" + mStarted + "'\nread go < '" + mGo +
                                           "'\nPATH='" + mPath.Previous() + "' exec gzip \"$@\"\n");
        chmod((folder / "bin/gzip").c_str(), 0700);
    }

    void WaitUntilStarted() const { ContentOf(mStarted); }
    void Release() const { WriteFile(mGo, "\n"); }

  private:
    ScopedCommandPath mPath;
    std::string mStarted;
    std::string mGo;
};

/// Waits until the thread of this id is asleep, as it is while it waits for a lock, or has ended.
void WaitUntilAsleep(pid_t thread) {
    const std::string path = "/proc/self/task/" + std::to_string(thread) + "/stat";
    for (std::string state = ContentOf(path); !state.empty() && state.find(") S ") == std::string::npos;
         state = ContentOf(path)) {
        std::this_thread::yield();
    }
}

/// While it lives, no file of this process grows beyond `bytes`, as on a disk that is full.
class FullDisk {
  public:
    explicit FullDisk(rlim_t bytes) : mPreviousHandler(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &mPrevious);
        rlimit limit = mPrevious;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &mPrevious);
        std::signal(SIGXFSZ, mPreviousHandler);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

  private:
    rlimit mPrevious{};
    void (*mPreviousHandler)(int);
};

}  // namespace

TEST_F(LogFolder, EachFormCarriesItsPrefixesToConsoleFileAndListener) {
    RecordingAudit log(mPath);
    log.Output("a%d\n", 1);
    log.OutputTagged(0x1A, "b\n");
    log.OutputFlagged(Audit::kTimeStamp, "c\n");
    log.OutputFlaggedTagged(Audit::kTimeStamp, 0x40000002, "d\n");
    log.LogOnly(Audit::kTimeStamp, 0x10000000, "e\r\n");
    const std::string stamp = "\\[[0-9]{2}/[0-9]{2}/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\] ";
    EXPECT_THAT(log.mHeard, ElementsAre("a1\n", "[0000001a] b\n", MatchesRegex(stamp + "c\n"),
                                        MatchesRegex(stamp + "\\[40000002\\] d\n"),
                                        MatchesRegex(stamp + "\\[10000000\\] e\r\n")));
    EXPECT_EQ(ContentOf(mPath), log.Heard());
    EXPECT_EQ(Console() + log.mHeard.back(), log.Heard());
}

TEST_F(LogFolder, PutsTheFileAsideOnlyAboveTheLimit) {
    TalvoAudit log("", mPath);
    const std::string filler = FillToTheLimit(log);
    log.Output("at the limit\n");
    EXPECT_FALSE(fs::exists(Generation(1)));
    log.Output("above it\n");
    EXPECT_EQ(ContentOf(mPath), "above it\n");
    EXPECT_EQ(Unzipped(Generation(1)), filler + "at the limit\n");
    EXPECT_FALSE(fs::exists(mPath + ".1"));
}

TEST_F(LogFolder, AStartBeginsAFreshFileAndKeepsFiveGenerations) {
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

TEST_F(LogFolder, CompressesAFileWhoseNameAShellWouldActOn) {
    mPath = mFolder / "it's; a $(log)";
    WriteFile(mPath, "last run\n");
    const TalvoAudit log("", mPath);
    const std::string renamed = mFolder / "plain.gz";
    fs::rename(Generation(1), renamed);
    EXPECT_EQ(Unzipped(renamed), "last run\n");
}

TEST_F(LogFolder, DropsTheOldLinesWhereNothingCanCompressThem) {
    WriteFile(mPath, "last run\n");
    const ScopedCommandPath nothing(mFolder.Path());
    testing::internal::CaptureStderr();
    TalvoAudit log("", mPath);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("gzip"));
    log.Output("next\n");
    EXPECT_EQ(ContentOf(mPath), "next\n");
    EXPECT_FALSE(fs::exists(mPath + ".1") || fs::exists(Generation(1)));
}

TEST_F(LogFolder, GoesOnWithoutAFileWhereNoneCanBeMade) {
    WriteFile(mFolder / "file", "");
    mPath = mFolder / "file/T2.log";
    RecordingAudit log(mPath);
    log.Output("still here\n");
    EXPECT_EQ(Console(), "Failed to open log file '" + mPath + "', output to console only\nstill here\n");
    EXPECT_THAT(log.mHeard, ElementsAre("still here\n"));
}

TEST_F(LogFolder, LeavesWhateverIsNoFileWhereItIs) {
    fs::create_directories(mFolder / "folder/inside");
    ASSERT_EQ(mkfifo((mFolder / "pipe").c_str(), 0600), 0);
    for (const char* name : {"folder", "pipe"}) {
        TalvoAudit log("", mFolder / name);
        log.Output("line\n");
    }
    EXPECT_TRUE(fs::is_directory(mFolder / "folder/inside"));
    EXPECT_EQ(fs::status(mFolder / "pipe").type(), fs::fifo_file);
    EXPECT_THAT(Console(),
                HasSubstr("Failed to open log file '" + (mFolder / "pipe") + "', output to console only"));
}

TEST_F(LogFolder, NamesAFailedRotationAtTheStartWithoutItsRoot) {
    fs::create_directories(mFolder / "var/log/T2.log.5.gz/inside");
    WriteFile(mFolder / "var/log/T2.log.4.gz", "");
    WriteFile(mFolder / "var/log/T2.log", "last run\n");
    TalvoAudit log(mFolder.Path(), "");
    log.Output("next\n");
    const std::string console = Console();
    EXPECT_THAT(console, StartsWith("Failed to rotate logs, logging to file halted: "));
    EXPECT_THAT(console, HasSubstr("\"/var/log/T2.log.5.gz\""));
    EXPECT_THAT(console, Not(HasSubstr(mFolder.Path())));
    EXPECT_THAT(console,
                EndsWith("\nFailed to open log file '/var/log/T2.log', output to console only\nnext\n"));
    EXPECT_EQ(ContentOf(mFolder / "var/log/T2.log"), "last run\n");
}

TEST_F(LogFolder, SaysInTheFileThatARotationFailedAndGoesOnWithoutOne) {
    RecordingAudit log(mPath);
    FillToTheLimit(log);
    fs::create_directories(Generation(5) + "/inside");
    WriteFile(Generation(4), "");
    log.Output("above the limit\n");
    log.mHeard.clear();
    log.Output("next\n");
    ASSERT_THAT(log.mHeard,
                ElementsAre(StartsWith("Failed to rotate logs, logging to file halted: "), "next\n"));
    EXPECT_THAT(ContentOf(mPath), EndsWith("above the limit\n" + log.mHeard.front()));
    EXPECT_THAT(Console(), EndsWith(log.Heard()));
}

TEST_F(LogFolder, LinesDuringARotationDoNotWaitAndGoAheadOfTheOneThatBeganIt) {
    RecordingAudit log(mPath);
    FillToTheLimit(log);
    log.Output("above the limit\n");
    log.mHeard.clear();
    const HeldGzip gzip(mFolder);
    std::thread rotator([&log] { log.Output("first to see it\n"); });
    gzip.WaitUntilStarted();
    log.Output("queued\n");
    log.LogOnly(0, 7, "for the file\n");
    log.Output("%s", std::string(5000, 'x').c_str());
    gzip.Release();
    rotator.join();
    EXPECT_THAT(log.mHeard, ElementsAre("queued\n", "[00000007] for the file\n", kOverflow,
                                        std::string(4095, 'x'), "first to see it\n"));
    EXPECT_EQ(ContentOf(mPath), log.Heard());
    EXPECT_THAT(Console(),
                EndsWith("\nqueued\n" + (kOverflow + std::string(4095, 'x')) + "first to see it\n"));
}

TEST_F(LogFolder, LinesDuringARotationThatFailsStillReachTheListener) {
    fs::create_directory(mFolder / "log");
    mPath = mFolder / "log/T2.log";
    RecordingAudit log(mPath);
    FillToTheLimit(log);
    log.Output("above the limit\n");
    log.mHeard.clear();
    const HeldGzip gzip(mFolder);
    std::thread rotator([&log] { log.Output("first to see it\n"); });
    gzip.WaitUntilStarted();
    log.Output("queued\n");
    fs::rename(mFolder / "log", mFolder / "elsewhere");
    gzip.Release();
    rotator.join();
    log.Output("later\n");
    EXPECT_THAT(log.mHeard, ElementsAre(StartsWith("Failed to rotate logs, logging to file halted: "),
                                        "queued\n", "first to see it\n", "later\n"));
}

TEST_F(LogFolder, ALineThatArrivesAsTheQueueIsDrainedIsNotStranded) {
    RecordingAudit log(mPath);
    FillToTheLimit(log);
    log.Output("above the limit\n");
    log.mHeard.clear();
    std::thread late;
    std::atomic<pid_t> lateId{0};
    log.mListener = [&](const std::string& line) {
        if (line == "queued\n") {
            late = std::thread([&] {
                lateId = gettid();
                log.Output("late\n");
            });
            while (lateId == 0) {
                std::this_thread::yield();
            }
            WaitUntilAsleep(lateId);
        }
    };
    const HeldGzip gzip(mFolder);
    std::thread rotator([&log] { log.Output("first to see it\n"); });
    gzip.WaitUntilStarted();
    log.Output("queued\n");
    gzip.Release();
    rotator.join();
    late.join();
    EXPECT_THAT(log.mHeard, testing::UnorderedElementsAre("queued\n", "first to see it\n", "late\n"));
    EXPECT_EQ(ContentOf(mPath), log.Heard());
}

TEST_F(LogFolder, AFullQueueMakesTheCallerWaitAndLosesNothing) {
    constexpr std::size_t kLines = 4300;  // above 16 MiB together
    RecordingAudit log(mPath);
    FillToTheLimit(log);
    log.LogOnly(0, 1, "above the limit\n");
    log.mHeard.clear();
    const HeldGzip gzip(mFolder);
    std::thread rotator([&log] { log.LogOnly(0, 2, "first to see it\n"); });
    gzip.WaitUntilStarted();
    std::atomic<pid_t> busyId{0};
    std::thread busy([&log, &busyId] {
        busyId = gettid();
        for (std::size_t line = 0; line < kLines; ++line) {
            log.LogOnly(0, 3, "%4000zu\n", line);
        }
    });
    while (busyId == 0) {
        std::this_thread::yield();
    }
    WaitUntilAsleep(busyId);
    gzip.Release();
    rotator.join();
    busy.join();
    ASSERT_EQ(log.mHeard.size(), kLines + 1);
    EXPECT_NE(log.mHeard.back(), "[00000002] first to see it\n");
    log.mHeard.erase(std::find(log.mHeard.begin(), log.mHeard.end(), "[00000002] first to see it\n"));
    EXPECT_TRUE(std::is_sorted(log.mHeard.begin(), log.mHeard.end()));
}

TEST_F(LogFolder, NoLineIsLostTornOrReorderedWhenManyThreadsLogAcrossRotations) {
    constexpr int kThreads = 4;
    constexpr int kLines = 1000;
    RecordingAudit log(mPath);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int number = 0; number < kThreads; ++number) {
        threads.emplace_back([&log, number] {
            for (int line = 0; line < kLines; ++line) {
                log.Output("%d %d %s\n", number, line,
                           std::string(1000, static_cast<char>('a' + number)).c_str());
            }
        });
    }
    std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });

    std::vector<std::string> printed = LinesOf(Console());
    ASSERT_TRUE(fs::exists(Generation(1)));
    std::string kept;
    for (unsigned number = 5; number > 0; --number) {
        kept += fs::exists(Generation(number)) ? Unzipped(Generation(number)) : std::string();
    }
    kept += ContentOf(mPath);
    EXPECT_TRUE(kept == log.Heard());
    std::vector<std::string> lines = LinesOf(kept);
    std::array<int, kThreads> next{};
    for (const std::string& line : lines) {
        const auto number = static_cast<unsigned>(line.front() - '0');
        ASSERT_LT(number, next.size());
        ASSERT_EQ(line, std::to_string(number) + " " + std::to_string(next[number]++) + " " +
                            std::string(1000, static_cast<char>('a' + number)));
    }
    EXPECT_THAT(next, testing::Each(kLines));
    std::sort(lines.begin(), lines.end());
    std::sort(printed.begin(), printed.end());
    EXPECT_TRUE(printed == lines);
}

TEST_F(LogFolder, AFullDiskTearsNoLineAndTheLogGoesOnOnceThereIsRoom) {
    RecordingAudit log(mPath);
    log.LogOnly(0, 1, "%s\n", std::string(60, 'a').c_str());
    {
        const FullDisk disk(100);
        log.LogOnly(0, 2, "%s\n", std::string(60, 'b').c_str());
        log.LogOnly(0, 3, "c\n");
    }
    log.LogOnly(0, 4, "d\n");
    EXPECT_EQ(ContentOf(mPath), "[00000001] " + std::string(60, 'a') + "\n[00000003] c\n[00000004] d\n");
    EXPECT_EQ(log.mHeard.size(), 4U);
}

TEST_F(LogFolder, AFileThatSomebodyEmptiedIsNotPaddedWhenTheDiskIsFull) {
    TalvoAudit log("", mPath);
    log.LogOnly(0, 1, "%s\n", std::string(200, 'a').c_str());
    fs::resize_file(mPath, 0);
    {
        const FullDisk disk(100);
        log.LogOnly(0, 2, "%s\n", std::string(200, 'b').c_str());
    }
    log.LogOnly(0, 3, "c\n");
    EXPECT_EQ(ContentOf(mPath), "[00000003] c\n");
}

TEST_F(LogFolder, ALineThatIsCutIsAnnouncedWhereverItGoes) {
    RecordingAudit log(mPath);
    const std::string whole(TalvoAudit::kLineBytes - 1, 'x');
    log.Output("%s", whole.c_str());
    log.Output("%sy", whole.c_str());
    log.LogOnly(0, 5, "%s", whole.c_str());
    const std::string tagged = "[00000005] " + whole.substr(11);
    EXPECT_THAT(log.mHeard, ElementsAre(whole, kOverflow, whole, kOverflow, tagged));
    EXPECT_EQ(ContentOf(mPath), log.Heard());
    EXPECT_EQ(Console(), whole + kOverflow + whole);
}

TEST_F(LogFolder, ALongTextIsWholeInPiecesThatFit) {
    RecordingAudit log(mPath);
    const std::string text =
        std::string(5000, 'a') + std::string(1, '\0') + std::string(5000, 'b') + "%n\r\n";
    log.OutputLong(Feature::TalvoIoBox, text);
    EXPECT_TRUE(log.mHeard.empty());
    log.OutputLong(Feature::Information, text);
    ASSERT_EQ(log.mHeard.size(), 3U);
    EXPECT_THAT(log.mHeard.front(), MatchesRegex("\\[[0-9/]{8} [0-9:]{8}\\] a+"));
    EXPECT_THAT(log.Heard(), EndsWith(text));
    EXPECT_EQ(log.Heard().size(), text.size() + 20);
    EXPECT_LT(log.mHeard.front().size(), TalvoAudit::kLineBytes);
    EXPECT_EQ(ContentOf(mPath), log.Heard());
    EXPECT_EQ(Console(), log.Heard());
}
