#include "DebugConfigure.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "Audit.h"
#include "RootedPath.h"
#include "ScopedFolder.h"

namespace {

struct ConfigurationRow {
    const char* mName;
    const char* mText;
    const char* mReport;  ///< behind the line that names the file
};

void PrintTo(const ConfigurationRow& row, std::ostream* out) {
    *out << row.mName;
}

const ConfigurationRow kRows[] = {
    {"NamesAndNumbersMixed", "on CommsDebug 122\tTalvoIoBox\n",
     "Debug Feature CommsDebug (60) is On\r\nDebug Feature IODiscovery (122) is On\r\n"
     "Debug Feature TalvoIoBox (178) is On\r\n"},
    {"OffBeforeAnySwitchWord", "on\nFault\n", "Debug Feature Fault (2) is Off\r\n"},
    {"TheLastSwitchWordCounts", " \ton off\t\t2 on  3",
     "Debug Feature Fault (2) is Off\r\n"
     "Debug Feature Information (3) is On\r\n"},
    {"BlanksAlone", "\n  \t\n\t \n", ""},
    {"NoNumber", "on 12x 99999999999 0x10\n",
     "Debug: What does :12x mean?\r\nDebug: What does :99999999999 mean?\r\nDebug: What does :0x10 "
     "mean?\r\n"},
    {"BeyondTheTable", "on 207", "DebugId 207 MaxDebugLevels 207 Assert 0\r\nFeature 207 is unknown \r\n"},
    {"UnknownNames", "# -5 ON",
     "DebugId -1 MaxDebugLevels 207 Assert 0\r\nFeature # is unknown \r\n"
     "DebugId -1 MaxDebugLevels 207 Assert 0\r\nFeature -5 is unknown \r\n"
     "DebugId -1 MaxDebugLevels 207 Assert 0\r\nFeature ON is unknown \r\n"},
    {"AFormatIsNoFormatHere", "%n%s",
     "DebugId -1 MaxDebugLevels 207 Assert 0\r\nFeature %n%s is unknown \r\n"},
};

class DebugConfiguration : public testing::TestWithParam<ConfigurationRow> {
  protected:
    DebugConfiguration() { Audit::SetInstance(nullptr); }
    ~DebugConfiguration() override { Audit::DestroyInstance(); }

    std::string Report() {
        testing::internal::CaptureStdout();
        DebugConfigure::ReadFile(RootedPath(mFolder.Path(), "/debug.conf"));
        return testing::internal::GetCapturedStdout();
    }

    ScopedFolder mFolder;
};

}  // namespace

TEST_P(DebugConfiguration, ReportsWhatEachWordDoes) {
    WriteFile(mFolder / "debug.conf", GetParam().mText);
    EXPECT_EQ(Report(), std::string("DebugConfig : Reading File '/debug.conf' ...\n") + GetParam().mReport);
}

INSTANTIATE_TEST_SUITE_P(Words, DebugConfiguration, testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.mName); });

TEST_F(DebugConfiguration, SwitchesTheFeatures) {
    WriteFile(mFolder / "debug.conf", "on TalvoIoBox 60 off 3\nFault\n");
    Report();
    const Audit& audit = Audit::Instance();
    EXPECT_TRUE(audit.IsEnabled(Feature::TalvoIoBox) && audit.IsEnabled(Feature::CommsDebug));
    EXPECT_FALSE(audit.IsEnabled(Feature::Information) || audit.IsEnabled(Feature::Fault));
    EXPECT_TRUE(audit.IsEnabled(Feature::Invalid));
}

TEST_F(DebugConfiguration, ReadsNeitherAMissingFileNorAFolderNorAHugeOne) {
    EXPECT_EQ(Report(), "DebugConfig : unable to access File '/debug.conf'.\n");
    boost::filesystem::create_directory(mFolder / "debug.conf");
    EXPECT_EQ(Report(), "DebugConfig : unable to access File '/debug.conf'.\n");
    boost::filesystem::remove(mFolder / "debug.conf");

    std::string text = "Fault " + std::string(DebugConfigure::kMaxFileBytes - 5, ' ');
    WriteFile(mFolder / "debug.conf", text);
    EXPECT_EQ(Report(), "DebugConfig : File '/debug.conf' is larger than 65536 bytes and is not read.\n");
    EXPECT_TRUE(Audit::Instance().IsEnabled(Feature::Fault));
    text.pop_back();
    WriteFile(mFolder / "debug.conf", text);
    Report();
    EXPECT_FALSE(Audit::Instance().IsEnabled(Feature::Fault));
}
