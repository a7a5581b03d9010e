#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "ActionN.h"

namespace {

TEST(ActionTexts, TakeTheFirstSentenceAsTheBriefAndNameTheTypes) {
    const std::vector<std::vector<std::string>> rows = {
        {"", "", "Usage: act 'bool' 'std::string'"},
        {"Show it\n  more \r\n", "Show it", "Show it\n\nUsage: act 'bool' 'std::string'\n\nmore"},
        {"A. Of:\r\n 1. x\r\n", "A", "A\n\nUsage: act 'bool' 'std::string'\n\nOf:\r\n 1. x"},
        {".all detail", "", "Usage: act 'bool' 'std::string'\n\nall detail"},
    };
    for (const auto& row : rows) {
        const auto action = cmd::action::MakeAction(
            " act\n", [](bool, const std::string&) {}, row[0]);
        EXPECT_EQ(action->Name(), "act");
        EXPECT_EQ(action->Brief(), row[1]) << row[0];
        EXPECT_EQ(action->Help(), row[2]) << row[0];
    }
}

template <typename T>
std::string Converted(const std::string& text) {
    T value{};
    return cmd::parser::Convert(text, value) ? std::to_string(static_cast<long long>(value)) : "refused";
}

TEST(ArgumentConversion, TakesWhatItsTypeHoldsAndRefusesTheRest) {
    using Results = std::vector<std::pair<const char*, const char*>>;
    const std::vector<std::pair<std::string (*)(const std::string&), Results>> rows = {
        {Converted<bool>,
         {{"true", "1"}, {"1", "1"}, {"false", "0"}, {"0", "0"}, {"TRUE", "refused"}, {"", "refused"}}},
        {Converted<int>,
         {{"-2147483648", "-2147483648"}, {"+2147483647", "2147483647"}, {"2147483648", "refused"}}},
        {Converted<int>, {{"000000000000178", "178"}, {"", "refused"}, {"+", "refused"}, {"-", "refused"}}},
        {Converted<int>, {{"+-1", "refused"}, {"++1", "refused"}, {" 1", "refused"}, {"1x", "refused"}}},
        {Converted<short>, {{"-32768", "-32768"}, {"32768", "refused"}}},
        {Converted<unsigned>, {{"4294967295", "4294967295"}, {"4294967296", "refused"}, {"+1", "refused"}}},
        {Converted<unsigned short>, {{"65535", "65535"}, {"65536", "refused"}, {"-1", "refused"}}},
        {Converted<unsigned char>, {{"255", "255"}, {"256", "refused"}, {"a", "refused"}}},
        {Converted<audio::FrequencyScaler>, {{"X4", "2"}, {"x4", "refused"}}},
        {Converted<SampleRates::SystemSampleRates>, {{"SR88_2k", "3"}, {"SR192k", "refused"}}},
    };
    for (const auto& [convert, results] : rows) {
        for (const auto& [text, result] : results) {
            EXPECT_EQ(convert(text), result) << "'" << text << "' of the row with " << results[0].first;
        }
    }
}

}  // namespace
