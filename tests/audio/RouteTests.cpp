#include <gmock/gmock.h>

#include "AudioDmaEndpoint.h"
#include "RouteText.h"
#include "TransactionWord.h"

using audio::AudioDmaEndpoint;
using audio::FrequencyScaler;
using testing::ElementsAre;

TEST(RouteText, ReadsEachForm) {
    const std::pair<const char*, std::vector<std::uint16_t>> rows[] = {
        {"5", {5}},           {"0-3", {0, 1, 2, 3}},          {"3-0", {3, 2, 1, 0}},
        {"4-4", {4}},         {"0-6:2", {0, 2, 4, 6}},        {"6-0:2", {6, 4, 2, 0}},
        {"0-5:2", {0, 2, 4}}, {"5-0:2", {5, 3, 1}},           {"0-1:65535", {0}},
        {"4-4:3", {4}},       {"!0-3", {0, 0, 0, 0}},         {"!7-5", {0, 0, 0}},
        {"!5", {0}},          {"7,6,!0,2-1", {7, 6, 0, 2, 1}}};
    for (const auto& [text, words] : rows) {
        const audio::RouteText route = audio::RouteText::Parse(text, 0);
        EXPECT_EQ(route.mWords, words) << text;
        EXPECT_TRUE(route.IsGood()) << text << " left " << route.mRest;
    }
    EXPECT_THAT(audio::RouteText::Parse("5,!1,511", 3).mWords, ElementsAre(1541, 0, 2047));
    EXPECT_THAT(audio::RouteText::Parse("512", 2).mWords, ElementsAre(512 | 2 << 9))
        << "into the address bits";
}

TEST(RouteText, StopsWhereItCanReadNoFurther) {
    for (const std::string row : {"|", "|x", "1,2|,x", "1|,", "1| ,2", "|-1", "|!", "|!x", "1|-", "0-3|:0",
                                  "0-3|:", "|65536", "1|-65536", "!0-3|:2", "|99999999999", "|+1"}) {
        const std::string read = row.substr(0, row.find('|'));
        const std::string rest = row.substr(read.size() + 1);
        const std::string text = read + rest;
        const audio::RouteText route = audio::RouteText::Parse(text, 0);
        EXPECT_FALSE(route.IsGood()) << row;
        EXPECT_EQ(route.mRest, rest) << row;
    }
}

TEST(AudioDmaEndpoint, FitsARouteToTheSinkAndKeepsItOnABadText) {
    AudioDmaEndpoint source(3, 512, AudioDmaEndpoint::Direction::Both);
    const AudioDmaEndpoint sink(4, 4, AudioDmaEndpoint::Direction::Sink);
    const auto route = [&] {
        return source.CurrentRoute(sink);
    };
    const auto set = [&](const std::string& text) {
        return source.SetRouteText(text, sink, FrequencyScaler::X1, SampleRates::SR48k);
    };
    EXPECT_TRUE(set("0-9"));
    EXPECT_THAT(route(), ElementsAre(1536, 1537, 1538, 1539));
    EXPECT_TRUE(set("1,0"));
    EXPECT_THAT(route(), ElementsAre(1537, 1536, 0, 0));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(set("1,2,x"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "### Bad: '1,2,x' parsed ',x'\n");
    EXPECT_THAT(route(), ElementsAre(1537, 1536, 0, 0));
}

TEST(AudioDmaEndpoint, IsSilentAtARateWithoutARoute) {
    AudioDmaEndpoint source(3, 512, AudioDmaEndpoint::Direction::Both);
    const AudioDmaEndpoint sink(4, 2, AudioDmaEndpoint::Direction::Sink);
    source.SetRouteText("0-1", sink, FrequencyScaler::X2, SampleRates::SR48k);
    source.AddDefaultRoute(sink);
    EXPECT_THAT(source.CurrentRoute(sink), ElementsAre(0, 0)) << "its scaler is X1";
    source.SetSampleRate(FrequencyScaler::X2, SampleRates::SR48k);
    EXPECT_THAT(source.CurrentRoute(sink), ElementsAre(1536, 1537)) << "the default leaves what is there";
}
