#include "Audit.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

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

    static std::set<unsigned> Enabled() {
        std::set<unsigned> enabled;
        for (unsigned id = 0; id < Audit::kMaxDebugLevels + 10; ++id) {
            if (Audit::Instance().IsEnabled(id)) {
                enabled.insert(id);
            }
        }
        return enabled;
    }
};

const std::set<unsigned> kDefaults{0, 1, 2, 3, 46, 66, 68};

}  // namespace

TEST(FeatureNames, FindEveryFeatureByItsExactNameOnly) {
    for (unsigned id = 0; id < Audit::kMaxDebugLevels; ++id) {
        EXPECT_EQ(Audit::FeatureId(Audit::FeatureName(id)), static_cast<int>(id)) << Audit::FeatureName(id);
    }
    EXPECT_EQ(Audit::FeatureId("ProBelDebugVerbose"), 82);
    EXPECT_EQ(Audit::FeatureId("ProbelDebugVerbose"), 141);
    EXPECT_EQ(Audit::FeatureId("DownMix Debug"), 87);
    EXPECT_EQ(Audit::FeatureId("TalvoIoBox"), static_cast<int>(Feature::TalvoIoBox));
    for (const std::string& name :
         {std::string(), std::string("assert"), std::string("Asser"), std::string("Assert "),
          std::string("Assert\0", 7), std::string("MaxDebugLevels")}) {
        EXPECT_EQ(Audit::FeatureId(name), -1) << name;
    }
    EXPECT_STREQ(Audit::FeatureName(206), "OutputPatchReadDebug");
    EXPECT_STREQ(Audit::FeatureName(207), "MaxDebugLevels");
    EXPECT_STREQ(Audit::FeatureName(500), "MaxDebugLevels");
}

TEST_F(AuditInstance, StartsWithTheDefaultSwitchesAndReturnsToThem) {
    EXPECT_EQ(Enabled(), kDefaults);
    Audit::Instance().SetLevel(207, 1);
    Audit::Instance().SetLevel(Feature::Fault, false);
    Audit::Instance().SetLevel(Feature::TalvoIoBox, true);
    EXPECT_EQ(Enabled(), (std::set<unsigned>{0, 1, 3, 46, 66, 68, 178}));
    Audit::Instance().ResetToDefaultLevels();
    EXPECT_EQ(Enabled(), kDefaults);
}

TEST_F(AuditInstance, RestoresASnapshotOfTheSwitches) {
    Audit::LevelBytes before{};
    Audit::Instance().GetLevels(before);
    Audit::Instance().SetAllLevels(1);
    Audit::Instance().SetLevels(before);
    EXPECT_EQ(Enabled(), kDefaults);
}

TEST_F(AuditInstance, IsMadeOnceHoweverManyThreadsAskFirst) {
    for (int round = 0; round < 50; ++round) {
        Audit::DestroyInstance();
        std::array<Audit*, 4> seen{};
        std::atomic<std::size_t> ready{0};
        std::vector<std::thread> threads;
        threads.reserve(seen.size());
        for (Audit*& instance : seen) {
            threads.emplace_back([&instance, &ready, &seen] {
                ++ready;
                while (ready < seen.size()) {
                    std::this_thread::yield();
                }
                instance = &Audit::Instance();
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        ASSERT_EQ(std::set<Audit*>(seen.begin(), seen.end()).size(), 1U);
        ASSERT_TRUE(seen.front()->IsEnabled(Feature::Fault));
    }
}

TEST_F(AuditInstance, EvaluatesTheArgumentsOfADisabledMessageNotAtAll) {
    int evaluated = 0;
    const std::string printed = Printed([&evaluated] {
        AUDIT(Feature::TalvoIoBox, "%d\n", ++evaluated);
        AUDIT(Feature::Fault, "%d%%\n", ++evaluated);
    });
    EXPECT_EQ(evaluated, 1);
    EXPECT_THAT(printed, MatchesRegex("\\[[0-9/]{8} [0-9:]{8}\\]1%\n"));
}

TEST_F(AuditInstance, PrintsEachFormWithoutItsTag) {
    Audit& audit = Audit::Instance();
    EXPECT_EQ(Printed([&audit] {
                  audit.Output("a%d ", 1);
                  audit.OutputTagged(5, "b%d ", 2);
                  audit.OutputFlagged(0, "c ");
                  audit.LogOnly(2, 5, "d\n");
              }),
              "a1 b2 c d\n");
    EXPECT_THAT(Printed([&audit] { audit.OutputFlaggedTagged(Audit::kTimeStamp, 5, "e"); }),
                MatchesRegex("\\[[0-9]{2}/[0-9]{2}/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\]e"));
}

TEST_F(AuditInstance, ReportsABrokenAssumptionAndCarriesOn) {
    const std::string printed = Printed([] {
        AUDIT_ASSERT(Audit::kMaxDebugLevels == 207);
        AUDIT_ASSERT(1 + 1 == 3);
    });
    EXPECT_THAT(
        printed,
        MatchesRegex(".*\\]Assert failed in file .*AuditTests.cpp at line [0-9]+ - 1 \\+ 1 == 3\r\n"));
}
