#include <gmock/gmock.h>
#include <sys/stat.h>

#include "BenchRoot.h"
#include "LineText.h"
#include "OpenNode.h"
#include "RegisterTrace.h"
#include "ScopedFolder.h"

namespace {

/// A board that traces into a file.
class RegisterTrace : public testing::Test {
  protected:
    RegisterTrace() { mBoard.StartTrace(mFolder / "trace"); }
    std::string Trace() const { return ContentOf(mFolder / "trace"); }

    ScopedFolder mFolder;
    sim::Board mBoard{{}};
    OpenNode mClocks{mBoard, "000c"};
};

}  // namespace

TEST(BenchRoot, HasTheFoldersAndAFirmwareRecordThatIsLeftAlone) {
    const ScopedFolder folder;
    const std::string root = sim::PrepareRoot(folder / "new/./box/");
    EXPECT_EQ(root, folder / "new/box");
    for (const char* below : {"/var/log", "/home/root/TalvoBrindlet", "/var/lib/sorvel/etc/Extends"}) {
        EXPECT_TRUE(boost::filesystem::is_directory(root + below)) << below;
    }
    const std::string record = root + "/home/root/Firmware/Application.xml";
    EXPECT_THAT(ContentOf(record), testing::HasSubstr("<Version>2.0.0</Version>"));
    WriteFile(record, "mine");
    sim::PrepareRoot(root);
    EXPECT_EQ(ContentOf(record), "mine");
}

TEST_F(RegisterTrace, HasOneLineForEachAccessOfTheApplicationAtOnce) {
    mClocks.WriteWord(0x40000, 0xFFFFFFFF);
    mBoard.SetWord("0009", 0x80000, 1);
    mBoard.DirectRead("0009", 0x3C);
    mClocks.Read(0x04);
    const std::string trace = Trace();
    EXPECT_THAT(trace, testing::MatchesRegex("[0-9]+ 000C W 0x24 0x00040000\n[0-9]+ 000C W 0x20 0xffffffff\n"
                                             "[0-9]+ 000C R 0x04 0x00000001\n"));
    mBoard.StopTrace();
    mClocks.Read(0x04);
    EXPECT_EQ(Trace(), trace);
}

TEST_F(RegisterTrace, GoesOnWhereANewOneCannotBeginAndEndsOnAFullDisk) {
    ASSERT_EQ(::mkfifo((mFolder / "pipe").c_str(), 0600), 0);
    for (const char* name : {"missing/trace", "pipe", ""}) {
        EXPECT_THROW(mBoard.StartTrace(mFolder / name), sim::BadText) << name;
    }
    mClocks.Read(0x3C);
    EXPECT_THAT(Trace(), testing::HasSubstr(" 000C R 0x3c "));
    mBoard.StartTrace("/dev/full");
    mClocks.WriteWord(0x40000, 1);
    EXPECT_EQ(mClocks.ReadWord(0x40000), 1U);
}
