#include <gmock/gmock.h>

#include <poll.h>

#include <chrono>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "VirtualBox.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// The commands of the tables in docs/shell.md, each with what stands in the column of its arguments. A row
/// may tell of several.
std::map<std::string, std::string> CommandsOfThePage() {
    std::map<std::string, std::string> commands;
    std::ifstream page(SHELL_PAGE);
    const std::regex row("\\| (`[^|]*`) \\| ([^|]*)\\|.*");
    const std::regex name("`([^`]*)`");
    for (std::string line; std::getline(page, line);) {
        std::smatch cells;
        if (std::regex_match(line, cells, row)) {
            const std::string names = cells[1];
            for (std::sregex_iterator it(names.begin(), names.end(), name), end; it != end; ++it) {
                commands[(*it)[1]] = cells[2];
            }
        }
    }
    return commands;
}

}  // namespace

TEST(Shell, AnswersEveryRootCommand) {
    VirtualBox box({"--dip", "42", "--firmware", "77"});
    const struct {
        const char* mLine;
        const char* mReply;
    } rows[] = {
        {"hid", "Hid is set to 42 ( 0x2a )"},
        {"mode", "Mode:                   Talvo 2"},
        {"proto", "Protocol:               Talvo 2"},
        {"version", "brindlet-sim 2.0.5980, Firmware build 77"},
        {"db 207", "Invalid value. Enter a valid debug level"},
        {"db -1", "Invalid value. Enter a valid debug level"},
        {"db", "error: 'db' expects 1 argument(s), 0 provided"},
        {"db 99999999999", "error: arg 0: cannot convert '99999999999' to type 'int'"},
        {"statu", "unrecognised command 'statu'"},
        {"power/dc_volts", "DC Supply voltage 24.0 Volts"},
        {"t2cfg/outgain 7", "Gain for output port 7 is 0"},
        {"adma", "unrecognised command 'adma'"},
        {"tail", "error: 'tail' expects 1 argument(s), 0 provided"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(box.Shell().Ask(row.mLine), row.mReply);
    }
    EXPECT_EQ(box.Shell().Ask("db 178"), "Audit level TalvoIoBox enabled");
    EXPECT_EQ(box.Shell().ReadLine(), "");
    EXPECT_EQ(box.Shell().Ask("db  178"), "Audit level TalvoIoBox disabled");
    EXPECT_EQ(box.Shell().ReadLine(), "");
    box.Do("debug");
    EXPECT_THAT(box.LogText(), HasSubstr("178  -  TalvoIoBox                       -  Off \r\n"));
    const ScopedFolder folder;
    box.Bench().Ask("trace " + (folder / "trace"));
    box.Do("dacrst");
    box.Do("adcrst");
    EXPECT_THAT(AccessesIn(folder / "trace"),
                testing::ElementsAre("0007 W 0x24 0x0009000c", "0007 W 0x20 0x00000008",
                                     "0007 W 0x24 0x00090008", "0007 W 0x20 0x00000008"));
}

TEST(Shell, HelpsWithEveryCommandItListsAndThePageTellsOfEach) {
    VirtualBox box;
    box.Shell().Send("help\nhid\n");
    const std::string listing = box.Shell().ReadUntil("Hid is");
    box.Shell().ReadLine();
    EXPECT_THAT(listing, StartsWith("adcrst                      Reset ADC\n"));
    const std::map<std::string, std::string> page = CommandsOfThePage();
    std::set<std::string> commands;
    for (std::size_t start = 0; listing[start] != '\n'; start = listing.find('\n', start) + 1) {
        const std::string command = listing.substr(start, listing.find(' ', start) - start);
        const std::string usage = "Usage: " + command.substr(command.rfind('/') + 1);
        box.Shell().Send(command + " --help\nhid\n");
        const std::string help = box.Shell().ReadUntil("Hid is");
        box.Shell().ReadLine();
        ASSERT_THAT(help, HasSubstr(usage)) << command;
        const bool takesArguments = help.compare(help.find(usage) + usage.size(), 2, " '") == 0;
        commands.insert(command);
        const auto told = page.find(command);
        ASSERT_NE(told, page.end()) << command << " isn't on the page";
        EXPECT_EQ(!told->second.empty(), takesArguments) << command << " on the page: " << told->second;
    }
    for (const auto& [command, arguments] : page) {
        EXPECT_EQ(commands.count(command), 1U) << command << " is on the page alone";
    }
    EXPECT_EQ(commands.size(), 65U);
}

TEST(Shell, ShowsATailingClientItsRepliesThroughTheLog) {
    VirtualBox box;
    LineClient tailing(box.ShellPort());
    EXPECT_THAT(tailing.ReadUntil("more about 'cmd'.\n"),
                StartsWith("\nSorvel command shell: brindlet-sim "));
    tailing.Send("mode\r\n");
    EXPECT_THAT(
        tailing.ReadUntil("Talvo 2\n\r\n"),
        testing::MatchesRegex("\\[[^]]*\\] CommandLine: Received mode\r\r\n\\[[^]]*\\] CommandLine: Sent "
                              "modeResult:\r\nMode:                   Talvo 2\n\r\n"));
    box.Do("adma/sync");
    EXPECT_THAT(tailing.ReadUntil("adma/sync\r\n"), HasSubstr("CommandLine: Received adma/sync\r\n"));
}

TEST(Shell, LetsGoOfClientsThatEndWithoutReading) {
    VirtualBox box;
    const std::size_t before = box.App().Usage().mDescriptors;
    std::string questions = "tail false\n";
    for (int i = 0; i < 45; ++i) {
        questions += std::string(60000, 'x') + "\n";
    }
    std::vector<std::unique_ptr<LineClient>> clients;
    for (int i = 0; i < 6; ++i) {
        clients.push_back(std::make_unique<LineClient>(box.ShellPort()));
        clients.back()->Send(questions);
        if (i % 2 == 0) {
            clients.back()->EndSending();
        } else {
            clients.back()->Reset();
        }
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (box.App().Usage().mDescriptors > before && std::chrono::steady_clock::now() < deadline) {
        poll(nullptr, 0, 50);
    }
    EXPECT_LE(box.App().Usage().mDescriptors, before);
}

TEST(Shell, ServesOnWhatRubbishComes) {
    VirtualBox box;
    LineClient rubbish(box.ShellPort());
    rubbish.Send(std::string("\0\xFF\n%s%n%s\n\"{} --help --help\n / // adma/ /adma\n", 46));
    rubbish.Send("adma/patch2 " + std::string(3000, '{') + "\n" + std::string(60000, 'x') + "\n");
    LineClient endless(box.ShellPort());
    endless.Send(std::string(70000, 'y'));
    endless.ReadToEnd();
    LineClient bench(box.BenchPort());
    bench.Send(std::string("\0\1\2\n", 4));
    EXPECT_THAT(bench.ReadLine(), StartsWith("error "));
    LineClient gone(box.ShellPort());
    gone.Send("adma/stat");
    gone.Close();
    EXPECT_EQ(box.Shell().Ask("hid"), "Hid is set to 1 ( 0x1 )");
    EXPECT_EQ(box.Bench().Ask("hear 4 0"), "ok silence");
}
