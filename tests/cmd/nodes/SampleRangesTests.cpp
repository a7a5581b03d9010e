#include "SampleRanges.h"

#include <gtest/gtest.h>

#include "T2FsiLink.h"

TEST(SampleRanges, AreReadAsAscendingSamplesOfTheEndpoint) {
    const audio::T2FsiLink link(0, 1);
    using Words = std::vector<std::uint16_t>;
    const struct {
        const char* mText;
        Words mWords;
    } rows[] = {
        {"0", {0}},
        {"511", {511}},
        {"0,2,4-6", {0, 2, 4, 5, 6}},
        {"0,0,1", {0, 1}},
        {"0-5,3-7", {0, 1, 2, 3, 4, 5, 6, 7}},
        {"4,1-0,5", {4, 5}},
        {"2,3,2", {2, 3}},
        // refused
        {"", {}},
        {"3,2", {}},
        {"512", {}},
        {"0-512", {}},
        {"0-4294967295", {}},
        {"4294967296", {}},
        {"5-3", {}},
        {"1,,2", {}},
        {"1,", {}},
        {",1", {}},
        {"1-", {}},
        {"-1", {}},
        {"1 ", {}},
        {"1-2-3", {}},
        {"x", {}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(cmd::ParseSampleRanges(row.mText, link), row.mWords) << row.mText;
    }
}
