#include "RegisterTrace.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "LineText.h"
#include "OpenNode.h"
#include "ScopedFolder.h"

TEST(RegisterTrace, HasOneLineForEachAccessOfTheApplicationAtOnce) {
    const ScopedFolder folder;
    sim::Board board({});
    OpenNode clocks(board, "000c");
    board.StartTrace(folder / "trace");
    clocks.WriteWord(0x40000, 0xFFFFFFFF);
    board.SetWord("0009", 0x80000, 1);
    board.DirectRead("0009", 0x3C);
    clocks.Read(0x04);
    const std::string trace = ContentOf(folder / "trace");
    EXPECT_THAT(trace, testing::MatchesRegex("[0-9]+ 000C W 0x24 0x00040000\n[0-9]+ 000C W 0x20 0xffffffff\n"
                                             "[0-9]+ 000C R 0x04 0x00000001\n"));
    board.StopTrace();
    clocks.Read(0x04);
    EXPECT_EQ(ContentOf(folder / "trace"), trace);
}

TEST(RegisterTrace, GoesOnWhereANewOneCannotBeginAndEndsOnAFullDisk) {
    const ScopedFolder folder;
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    sim::Board board({});
    OpenNode led(board, "0009");
    board.StartTrace(folder / "trace");
    for (const char* name : {"missing/trace", "pipe", ""}) {
        EXPECT_THROW(board.StartTrace(folder / name), sim::BadText) << name;
    }
    led.Read(0x3C);
    EXPECT_THAT(ContentOf(folder / "trace"), testing::HasSubstr(" 0009 R 0x3c "));
    board.StartTrace("/dev/full");
    led.WriteWord(0x60000, 1);
    EXPECT_EQ(led.ReadWord(0x60000), 1U);
}
