#include "FirmwareRecord.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <boost/filesystem.hpp>

#include "Board.h"
#include "CapturedLog.h"
#include "RootedPath.h"
#include "ScopedFolder.h"

namespace {

class FirmwareRecord : public testing::Test {
  protected:
    static sim::BoardSettings Settings() {
        sim::BoardSettings settings;
        settings.mFirmware = 16;
        return settings;
    }

    std::string Path() const { return mFolder / "Application.xml"; }
    bool Update() {
        return TalvoBrindlet::UpdateFirmwareRecord(RootedPath(mFolder.Path(), "/Application.xml"), mBoard,
                                                   "0010");
    }

    ScopedFolder mFolder;
    CapturedLog mLog;
    sim::Board mBoard{Settings()};
};

}  // namespace

TEST_F(FirmwareRecord, TakesTheBuildNumberBehindTheVersion) {
    const std::pair<const char*, const char*> rows[] = {
        {"<Version>1.2.3</Version>", "<Version>1.2.16</Version>"},
        {"<Version>1.2</Version>", "<Version>0.0.16</Version>"},
        {"<Version>1.2.3.4</Version>", "<Version>0.0.16</Version>"},
        {"<Version/>", "<Version>0.0.16</Version>"},
        {"<Version><!-- none --></Version>", "<Version>0.0.16</Version>"},
        {"<Name>x</Name><Version a=\"1\">7.8.</Version>", "<Version a=\"1\">7.8.16</Version>"},
    };
    for (const auto& [before, after] : rows) {
        WriteFile(Path(), std::string("<?xml version=\"1.0\"?><Application>") + before + "</Application>");
        EXPECT_TRUE(Update()) << before;
        EXPECT_NE(ContentOf(Path()).find(after), std::string::npos) << ContentOf(Path());
    }
    EXPECT_TRUE(mLog.Lines().empty());
}

TEST_F(FirmwareRecord, IsLeftAsItIsWhereItIsNone) {
    std::string deep;
    while (deep.size() < 16380) {
        deep += "<a>";
    }
    const std::string failed = "Failed to find the firmware config file /Application.xmldue to error";
    const std::pair<std::string, std::string> rows[] = {
        {"", failed},
        {"rubbish", failed},
        {"<Application><Version>1.2.3", failed},
        {deep, failed},
        {std::string(20000, ' ') + "<Application/>", failed + "more than 16384 bytes\n"},
        {"<Other/>", "Did not find Application element in file /Application.xml\n"},
        {"<Application/>", "Did not find Version element in file /Application.xml\n"},
    };
    for (const auto& [content, line] : rows) {
        WriteFile(Path(), content);
        const std::size_t before = mLog.Count(line);
        EXPECT_FALSE(Update()) << content.substr(0, 40);
        EXPECT_EQ(mLog.Count(line), before + 1) << content.substr(0, 40);
        EXPECT_EQ(ContentOf(Path()), content);
    }
    boost::filesystem::remove(Path());
    EXPECT_FALSE(Update());
    EXPECT_EQ(mLog.Count(failed + "No such file or directory\n"), 1U);
    ASSERT_EQ(::mkfifo(Path().c_str(), 0600), 0);
    EXPECT_FALSE(Update()) << "nor does it hang";
}

TEST_F(FirmwareRecord, KeepsItsPlaceAndItsReaders) {
    const std::string real = mFolder / "real.xml";
    WriteFile(real, "<Application><Version>1.2.3</Version></Application>");
    ASSERT_EQ(::chmod(real.c_str(), 0604), 0);
    boost::filesystem::create_symlink("real.xml", Path());
    const mode_t former = ::umask(077);
    EXPECT_TRUE(Update());
    ::umask(former);
    EXPECT_TRUE(boost::filesystem::is_symlink(Path()));
    EXPECT_NE(ContentOf(real).find("1.2.16"), std::string::npos);
    EXPECT_EQ(boost::filesystem::status(real).permissions(), 0604);
}

TEST_F(FirmwareRecord, IsLeftAsItIsWhereTheBuildIsUnknown) {
    const std::string record = "<Application><Version>1.2.3</Version></Application>";
    WriteFile(Path(), record);
    EXPECT_FALSE(
        TalvoBrindlet::UpdateFirmwareRecord(RootedPath(mFolder.Path(), "/Application.xml"), mBoard, "0FFF"));
    EXPECT_EQ(mLog.Count("Failed to read the firmware build: FSI '0FFF'"), 1U);
    EXPECT_EQ(ContentOf(Path()), record);
}

TEST_F(FirmwareRecord, IsLeftAsItIsWhereItCannotBeSaved) {
    const std::string record = "<Application><Version>1.2.3</Version></Application>";
    WriteFile(Path(), record);
    boost::filesystem::create_directories(Path() + ".new/taken");
    EXPECT_FALSE(Update());
    EXPECT_EQ(mLog.Count("Failed to save updated Firmware Application XML file\n"), 1U);
    EXPECT_EQ(ContentOf(Path()), record);
}
