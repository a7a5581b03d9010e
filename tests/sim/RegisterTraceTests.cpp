#include "RegisterTrace.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <regex>
#include <vector>

#include "BenchText.h"
#include "OpenNode.h"
#include "ScopedFolder.h"

using testing::ElementsAre;

namespace {

std::vector<std::string> LinesOf(const std::string& path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string WithoutTime(const std::string& line) {
    return line.substr(line.find(' ') + 1);
}

}  // namespace

TEST(RegisterTrace, HasOneLineForEachAccessAtOnce) {
    const ScopedFolder folder;
    sim::Board board({});
    OpenNode clocks(board, "000c");
    clocks.Write(0x30, 0);
    board.StartTrace(folder / "trace");
    const std::uint32_t run[] = {3, 0xFFFFFFFF};
    clocks.Write(0x24, 0x40000);
    clocks.Window().WriteRun(0x20, run, 2);
    clocks.Read(0x04);
    const auto lines = LinesOf(folder / "trace");
    ASSERT_EQ(lines.size(), 4U);
    for (const std::string& line : lines) {
        EXPECT_TRUE(std::regex_match(line, std::regex("[0-9]+ 000C [RW] 0x[0-9a-f]{2} 0x[0-9a-f]{8}")))
            << line;
    }
    EXPECT_EQ(WithoutTime(lines[0]), "000C W 0x24 0x00040000");
    EXPECT_EQ(WithoutTime(lines[2]), "000C W 0x20 0xffffffff");
    EXPECT_EQ(WithoutTime(lines[3]), "000C R 0x04 0x00000001");
    EXPECT_LE(std::stoull(lines[0]), std::stoull(lines[3]));
}

TEST(RegisterTrace, LeavesTheBoardsOwnSideOut) {
    const ScopedFolder folder;
    sim::Board board({});
    board.StartTrace(folder / "trace");
    board.SetWord("0009", 0x80000, 1);
    board.DirectRead("0009", 0x3C);
    board.StopTrace();
    OpenNode(board, "0009").Read(0x3C);
    EXPECT_THAT(LinesOf(folder / "trace"), ElementsAre());
}

TEST(RegisterTrace, GoesOnWhereANewOneCannotBegin) {
    const ScopedFolder folder;
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    sim::Board board({});
    board.StartTrace(folder / "trace");
    for (const char* name : {"missing/trace", "pipe", ""}) {
        EXPECT_THROW(board.StartTrace(folder / name), sim::BadText) << name;
    }
    OpenNode(board, "0009").Read(0x3C);
    EXPECT_EQ(LinesOf(folder / "trace").size(), 1U);
}

TEST(RegisterTrace, EndsOnAFullDiskAndTheBoardGoesOn) {
    sim::Board board({});
    board.StartTrace("/dev/full");
    OpenNode led(board, "0009");
    led.WriteWord(0x60000, 1);
    EXPECT_EQ(led.ReadWord(0x60000), 1U);
}
