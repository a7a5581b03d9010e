#include "DebugConfigure.h"

#include <gtest/gtest.h>

#include <string>

#include "Audit.h"
#include "RootedPath.h"
#include "ScopedFolder.h"

namespace {

class DebugConfiguration : public testing::Test {
  protected:
    DebugConfiguration() { Audit::SetInstance(nullptr); }
    ~DebugConfiguration() override { Audit::DestroyInstance(); }

    std::string Report() {
        testing::internal::CaptureStdout();
        DebugConfigure::ReadFile(RootedPath(mFolder.Path(), "/debug.conf"));
        return testing::internal::GetCapturedStdout();
    }
    std::string ReportOf(const std::string& text) {
        WriteFile(mFolder / "debug.conf", text);
        return Report();
    }

    ScopedFolder mFolder;
};

}  // namespace

TEST_F(DebugConfiguration, ReportsWhatEachWordDoes) {
    const struct {
        const char* mText;
        std::string mReport;  ///< behind the line that names the file
    } rows[] = {
        {"on CommsDebug 122\tTalvoIoBox\n",
         "Debug Feature CommsDebug (60) is On\r\nDebug Feature IODiscovery (122) is On\r\n"
         "Debug Feature TalvoIoBox (178) is On\r\n"},
        {"on\nFault\n", "Debug Feature Fault (2) is Off\r\n"},
        {" \ton off\t\t2 on  3", "Debug Feature Fault (2) is Off\r\nDebug Feature Information (3) is On\r\n"},
        {"\n  \t\n\t \n", ""},
        {"on 12x 99999999999\n", "Debug: What does :12x mean?\r\nDebug: What does :99999999999 mean?\r\n"},
        {"on 207", "DebugId 207 MaxDebugLevels 207 Assert 0\r\nFeature 207 is unknown \r\n"},
        {"%n%s -5",
         "DebugId -1 MaxDebugLevels 207 Assert 0\r\nFeature %n%s is unknown \r\n"
         "DebugId -1 MaxDebugLevels 207 Assert 0\r\nFeature -5 is unknown \r\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ReportOf(row.mText), "DebugConfig : Reading File '/debug.conf' ...\n" + row.mReport);
    }
    EXPECT_TRUE(Audit::Instance().IsEnabled(Feature::CommsDebug));
    EXPECT_FALSE(Audit::Instance().IsEnabled(Feature::Fault));
}

TEST_F(DebugConfiguration, ReadsNeitherAMissingFileNorAFolderNorAHugeOne) {
    EXPECT_EQ(Report(), "DebugConfig : unable to access File '/debug.conf'.\n");
    boost::filesystem::create_directory(mFolder / "debug.conf");
    EXPECT_EQ(Report(), "DebugConfig : unable to access File '/debug.conf'.\n");
    boost::filesystem::remove(mFolder / "debug.conf");

    const std::string largest = "Fault" + std::string(DebugConfigure::kMaxFileBytes - 5, ' ');
    EXPECT_EQ(ReportOf(largest + " "),
              "DebugConfig : File '/debug.conf' is larger than 65536 bytes and is not read.\n");
    EXPECT_TRUE(Audit::Instance().IsEnabled(Feature::Fault));
    ReportOf(largest);
    EXPECT_FALSE(Audit::Instance().IsEnabled(Feature::Fault));
}
