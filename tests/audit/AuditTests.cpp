#include "Audit.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <future>
#include <set>
#include <thread>

#include "DebugConfigure.h"
#include "RootedPath.h"
#include "ScopedFolder.h"

using testing::MatchesRegex;

namespace {

/// Leaves a fresh log with the default switches before and after each test.
class AuditInstance : public testing::Test {
  protected:
    AuditInstance() { Audit::SetInstance(nullptr); }
    ~AuditInstance() override { Audit::DestroyInstance(); }

    template <typename Body>
    static std::string Printed(Body body) {
        testing::internal::CaptureStdout();
        body();
        return testing::internal::GetCapturedStdout();
    }

    static std::set<unsigned> Switched(bool on) {
        std::set<unsigned> found;
        for (unsigned id = 0; id < Audit::kMaxDebugLevels; ++id) {
            if (Audit::Instance().IsEnabled(id) == on) {
                found.insert(id);
            }
        }
        return found;
    }
};

class DebugConfiguration : public AuditInstance {
  protected:
    std::string ReportOf(const std::string& text) {
        WriteFile(mFolder / "debug.conf", text);
        return Report();
    }
    std::string Report() {
        return Printed([this] { DebugConfigure::ReadFile(RootedPath(mFolder.Path(), "/debug.conf")); });
    }

    ScopedFolder mFolder;
};

const std::set<unsigned> kDefaults{0, 1, 2, 3, 46, 66, 68};

}  // namespace

// The shell, debug.conf and the tools that read logs know the names by heart.
TEST(FeatureNames, AreSpelledAsTheyAlwaysWereAndFoundByTheExactNameOnly) {
    std::uint64_t digest = 0xcbf29ce484222325;  // FNV-1a over the names in order, a line each
    for (unsigned id = 0; id < Audit::kMaxDebugLevels; ++id) {
        const std::string name = Audit::FeatureName(id);
        EXPECT_EQ(Audit::FeatureId(name), static_cast<int>(id)) << name;
        for (const char c : name + "\n") {
            digest = (digest ^ static_cast<unsigned char>(c)) * 0x100000001b3;
        }
    }
    EXPECT_EQ(digest, 0x37c88901d29f3d47);
    for (const std::string& name : {std::string(), std::string("assert"), std::string("Asser"),
                                    std::string("Assert\0", 7), std::string("MaxDebugLevels")}) {
        EXPECT_EQ(Audit::FeatureId(name), -1) << name;
    }
    EXPECT_STREQ(Audit::FeatureName(207), "MaxDebugLevels");
}

TEST_F(AuditInstance, SwitchesFeaturesAndGoesBackToTheDefaultsOrASnapshot) {
    Audit& audit = Audit::Instance();
    EXPECT_EQ(Switched(true), kDefaults);
    Audit::LevelBytes before{};
    audit.GetLevels(before);
    audit.SetLevel(207, 1);
    EXPECT_FALSE(audit.IsEnabled(207));
    audit.SetLevel(Feature::Fault, false);
    audit.SetLevel(Feature::TalvoIoBox, true);
    EXPECT_EQ(Switched(true), (std::set<unsigned>{0, 1, 3, 46, 66, 68, 178}));
    audit.ResetToDefaultLevels();
    EXPECT_EQ(Switched(true), kDefaults);

    const std::set<unsigned> verbose{29,  58,  61,  65,  67,  82,  86,  89,  104, 105, 108,
                                     110, 120, 121, 133, 135, 141, 145, 152, 154, 158, 170,
                                     179, 182, 186, 187, 191, 192, 193, 195, 199, 201, 203};
    audit.EnableAllButVerbose();
    EXPECT_EQ(Switched(false), verbose);
    audit.SetLevels(before);
    EXPECT_EQ(Switched(true), kDefaults);
}

TEST_F(AuditInstance, IsMadeOnceHoweverManyThreadsAskFirst) {
    for (int round = 0; round < 50; ++round) {
        Audit::DestroyInstance();
        std::atomic<int> ready{0};
        std::future<Audit*> threads[4];
        for (auto& thread : threads) {
            thread = std::async(std::launch::async, [&ready] {
                for (++ready; ready < 4;) {
                    std::this_thread::yield();
                }
                return &Audit::Instance();
            });
        }
        for (auto& thread : threads) {
            ASSERT_EQ(thread.get(), &Audit::Instance());
        }
    }
}

TEST_F(AuditInstance, EvaluatesADisabledMessageNotAtAllAndReportsABrokenAssumption) {
    int evaluated = 0;
    const std::string printed = Printed([&evaluated] {
        AUDIT(Feature::TalvoIoBox, "%d\n", ++evaluated);
        AUDIT(Feature::Fault, "%d%%\n", ++evaluated);
        AUDIT_ASSERT(evaluated == 1);
        AUDIT_ASSERT(evaluated == 2);
    });
    EXPECT_THAT(printed, MatchesRegex("\\[[0-9/]{8} [0-9:]{8}\\]1%\n\\[.*\\]Assert failed in file "
                                      ".*AuditTests.cpp at line [0-9]+ - evaluated == 2\r\n"));
}

TEST_F(AuditInstance, StampsTheTimeInUtcWithTheDayFirst) {
    setenv("TZ", "Asia/Tokyo", 1);
    tzset();
    const auto stamp = [](std::time_t time) {
        char text[64];
        std::strftime(text, sizeof text, "[%d/%m/%Y %H:%M:%S]", std::gmtime(&time));
        return std::string(text).erase(7, 2);  // the century
    };
    const std::time_t before = std::time(nullptr);
    const std::string printed =
        Printed([] { Audit::Instance().OutputFlagged(Audit::kTimeStamp, " line\n"); });
    const std::time_t after = std::time(nullptr);
    EXPECT_TRUE(printed == stamp(before) + " line\n" || printed == stamp(after) + " line\n") << printed;
    unsetenv("TZ");
    tzset();
}

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
