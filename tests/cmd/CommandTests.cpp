#include <gmock/gmock.h>

#include <sstream>

#include "ActionN.h"
#include "Node.h"
#include "RootNode.h"
#include "Tokeniser.h"

namespace {

TEST(Tokeniser, SplitsAtBlanksOutsideQuotes) {
    const std::vector<std::pair<std::string, std::vector<std::string>>> rows = {
        {"   ", {}},
        {"  a   b ", {"a", "b"}},
        {"{t1 t2}", {"t1 t2"}},
        {"{t1 t2\" x", {"t1 t2", "x"}},  // any quote ends what another began
        {"a{ b }c d", {"a b c", "d"}},
        {"{ b } \"\" {}", {"b"}},
        {"a {b c", {"a", "b c"}},
        {"a\tb c\t", {"a\tb", "c"}},
        {"\\ \\\"n", {"\\", "\\n"}},
    };
    for (const auto& [text, tokens] : rows) {
        EXPECT_THAT(cmd::Tokenise(text), testing::ElementsAreArray(tokens)) << "'" << text << "'";
    }
}

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

auto Named(const std::string& name, const std::string& description = "") {
    return cmd::action::MakeAction(
        name, [] {}, description);
}

TEST(CommandTree, FindsWholePathsAloneAndKeepsTheLatestActionAndTheFirstNodeOfAName) {
    cmd::NodeManager::RootNode root;
    for (const char* const name : {"dc_volts", "late"}) {
        root.AddAction(Named("adcrst", name));
        const auto power = std::make_shared<cmd::Node>("");
        power->AddAction("power", {Named(name)});
        root.AddChild(power);
    }
    root.AddAction("//clock/source", {Named("show")});
    root.AddAction("//clock/source", {Named("set")});
    for (const char* const path : {"//adcrst", "//power/dc_volts", "//clock/source/show"}) {
        EXPECT_NE(root.Find(path), nullptr) << path;
    }
    for (const char* const path :
         {"//tower/dc_volts", "//powers/dc_volts", "//ad", "//adcrsts", "//dc_volts", "//power/", "//power",
          "//power/dc_volts/", "//power//dc_volts", "//clock/show", "adcrst", "/", "//", ""}) {
        EXPECT_EQ(root.Find(path), nullptr) << path;
    }
    EXPECT_EQ(root.Find("//adcrst")->Brief(), "late");
    root.SetTreeListing(true);
    std::ostringstream tree;
    root.Write(tree);
    EXPECT_EQ(tree.str(),
              "//\n  adcrst\n    clock/\n      source/\n        set\n        show\n"
              "    power/\n      dc_volts\n");
}

}  // namespace
