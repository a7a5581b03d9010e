#include "SampleRanges.h"

#include <gtest/gtest.h>

#include "T2FsiLink.h"

TEST(SampleRanges, AreReadAsAscendingSamplesOfTheEndpoint) {
    const audio::T2FsiLink link(0, 1);
    using Words = std::vector<std::uint16_t>;
    const std::pair<const char*, Words> rows[] = {
        {"0", {0}},          {"0,2,4-6", {0, 2, 4, 5, 6}},      {"0,0,1", {0, 1}},
        {"4,1-0,5", {4, 5}}, {"508-511", {508, 509, 510, 511}}, {"0-5,3-7", {0, 1, 2, 3, 4, 5, 6, 7}},
        {"2,3,2", {2, 3}}};
    for (const auto& [text, words] : rows) {
        EXPECT_EQ(cmd::ParseSampleRanges(text, link), words) << text;
    }
    for (const char* const refused : {"", "3,2", "512", "0-512", "0-4294967295", "4294967296", "5-3", "1,,2",
                                      "1,", ",1", "1-", "-1", "1 ", "1-2-3", "x"}) {
        EXPECT_EQ(cmd::ParseSampleRanges(refused, link), Words{}) << refused;
    }
}
