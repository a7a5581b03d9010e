#include "BenchRoot.h"

#include <gmock/gmock.h>

#include "ScopedFolder.h"

using testing::HasSubstr;

TEST(BenchRoot, HasTheFoldersAndAFirmwareRecordThatIsLeftAlone) {
    const ScopedFolder folder;
    const std::string root = sim::PrepareRoot(folder / "new/./box/");
    EXPECT_EQ(root, folder / "new/box");
    for (const char* below : {"/var/log", "/home/root/TalvoBrindlet", "/var/lib/sorvel/etc/Extends"}) {
        EXPECT_TRUE(boost::filesystem::is_directory(root + below)) << below;
    }
    const std::string record = root + "/home/root/Firmware/Application.xml";
    EXPECT_THAT(ContentOf(record), HasSubstr("<Version>2.0.0</Version>"));
    WriteFile(record, "mine");
    sim::PrepareRoot(root);
    EXPECT_EQ(ContentOf(record), "mine");
}
