#include "CommandTimingStats.h"

#include <gmock/gmock.h>

#include <future>
#include <string>
#include <vector>

#include "CapturedLog.h"

using testing::IsSupersetOf;

namespace {

TEST(CommandTimingStats, KeepsARowForEachNameAndTheMaximaOfAllThreads) {
    CapturedLog log;
    log.Enable(Feature::TimingStatsDebug);
    CommandTimingStats& stats = CommandTimingStats::Instance();
    stats.SetKeyNames([](std::uint32_t key) {
        return CommandTimingStats::KeyNames{"Type", key == 1 ? "Command" : nullptr};
    });
    constexpr std::uint32_t kKeys = 1000;
    std::vector<std::future<void>> threads(3);
    for (std::future<void>& thread : threads) {
        thread = std::async(std::launch::async, [&stats] {
            for (std::uint32_t key = 1; key <= kKeys; ++key) {
                stats.BeginKey(key);
                stats.EndKey();
                stats.CountEvents(2, key);
                stats.CountActions(key);
                stats.CountLogWrite(key);
            }
        });
    }
    stats.Report();   // beside the counting
    threads.clear();  // waits for them
    const std::size_t before = log.Lines().size();
    stats.Report();
    std::vector<std::string> lines = log.Lines();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(before));
    EXPECT_EQ(lines.size(), 9U);
    EXPECT_THAT(lines, testing::Contains(testing::MatchesRegex("\\[Type\\] Command, max time [0-9]+ mS\n")));
    EXPECT_THAT(lines, testing::Contains(testing::MatchesRegex("\\[Type\\] UNKNOWN, max time [0-9]+ mS\n")));
    EXPECT_THAT(
        lines,
        IsSupersetOf({"Log Stalls     2700     [ Number of times writing to log has exceeded 100mS ]\n",
                      "MaxLogTime     1000 mS  [ Writing to log - RemoteCapableAudit::Output() ]\n",
                      "MaxEventTime   1000 mS  [ Processing N elapsed timers - EventTimerMgr.Service() ]\n",
                      "MaxEvents         2     [ Max value for N events in one pass ]\n",
                      "MaxActioned    1000     [ Max value for M commands in one pass ]\n",
                      "NumEvents = 6000\n"}));
}

}  // namespace
