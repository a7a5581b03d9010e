#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <set>

#include "Audit.h"

// Texts that the shell, debug.conf and the tools that read logs know by heart.

TEST(FeatureNames, AreSpelledAsTheyAlwaysWere) {
    std::uint64_t digest = 0xcbf29ce484222325;  // FNV-1a over the names in order, a line each
    for (unsigned id = 0; id < Audit::kMaxDebugLevels; ++id) {
        for (const char c : std::string(Audit::FeatureName(id)) + "\n") {
            digest = (digest ^ static_cast<unsigned char>(c)) * 0x100000001b3;
        }
    }
    EXPECT_EQ(digest, 0x37c88901d29f3d47);
}

TEST(VerboseFeatures, AreThese) {
    Audit::SetInstance(nullptr);
    Audit::Instance().EnableAllButVerbose();
    std::set<unsigned> off;
    for (unsigned id = 0; id < Audit::kMaxDebugLevels; ++id) {
        if (!Audit::Instance().IsEnabled(id)) {
            off.insert(id);
        }
    }
    const std::set<unsigned> verbose{29,  58,  61,  65,  67,  82,  86,  89,  104, 105, 108,
                                     110, 120, 121, 133, 135, 141, 145, 152, 154, 158, 170,
                                     179, 182, 186, 187, 191, 192, 193, 195, 199, 201, 203};
    EXPECT_EQ(off, verbose);
    Audit::DestroyInstance();
}

TEST(TimeStamp, IsInUtcAndStartsWithTheDay) {
    setenv("TZ", "Asia/Tokyo", 1);
    tzset();
    const auto stamp = [](std::time_t time) {
        char text[64];
        std::strftime(text, sizeof text, "[%d/%m/%Y %H:%M:%S]", std::gmtime(&time));
        return std::string(text).erase(7, 2);  // the century
    };
    const std::time_t before = std::time(nullptr);
    testing::internal::CaptureStdout();
    Audit::Instance().OutputFlagged(Audit::kTimeStamp, " line\n");
    const std::string printed = testing::internal::GetCapturedStdout();
    const std::time_t after = std::time(nullptr);
    EXPECT_TRUE(printed == stamp(before) + " line\n" || printed == stamp(after) + " line\n") << printed;
    Audit::DestroyInstance();
    unsetenv("TZ");
    tzset();
}
