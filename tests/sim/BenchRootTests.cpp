#include "BenchRoot.h"

#include <gtest/gtest.h>

#include <system_error>

#include "ScopedFolder.h"

TEST(BenchRoot, HasTheFoldersAndAFirmwareRecord) {
    const ScopedFolder folder;
    const std::string root = sim::PrepareRoot(folder / "new/./box/");
    EXPECT_EQ(root, folder / "new/box");
    for (const char* below : {"/var/log", "/home/root/TalvoBrindlet", "/var/lib/sorvel/etc/Extends"}) {
        EXPECT_TRUE(boost::filesystem::is_directory(root + below)) << below;
    }
    EXPECT_NE(ContentOf(root + "/home/root/Firmware/Application.xml").find("<Version>2.0.0</Version>"),
              std::string::npos);
}

TEST(BenchRoot, LeavesAFirmwareRecordAlone) {
    const ScopedFolder folder;
    sim::PrepareRoot(folder.Path());
    WriteFile(folder / "home/root/Firmware/Application.xml", "mine");
    sim::PrepareRoot(folder.Path());
    EXPECT_EQ(ContentOf(folder / "home/root/Firmware/Application.xml"), "mine");
}

TEST(BenchRoot, NamesTheFolderThatItCannotMake) {
    const ScopedFolder folder;
    WriteFile(folder / "file", "");
    try {
        sim::PrepareRoot(folder / "file");
        ADD_FAILURE() << "a file was taken for a folder";
    } catch (const std::system_error& error) {
        EXPECT_NE(std::string(error.what()).find(folder / "file"), std::string::npos) << error.what();
    }
}
