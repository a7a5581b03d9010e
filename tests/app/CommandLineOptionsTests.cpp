#include "CommandLineOptions.h"

#include <gtest/gtest.h>

#include <boost/program_options/errors.hpp>
#include <vector>

namespace {

CommandLineOptions Parse(std::vector<const char*> words) {
    words.insert(words.begin(), "TalvoBrindlet");
    return {static_cast<int>(words.size()), words.data()};
}

std::string EndpointOf(const CommandLineOptions& options) {
    const std::uint32_t address = options.Telnet().mAddress;
    std::string text;
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
        text += std::to_string(address >> shift & 0xFF) + (shift == 0 ? ":" : ".");
    }
    return text + std::to_string(options.Telnet().mPort);
}

}  // namespace

TEST(CommandLineOptions, ListenEverywhereOnThePortOfTheShellUnlessTold) {
    const CommandLineOptions options = Parse({});
    EXPECT_EQ(EndpointOf(options), "0.0.0.0:55555");
    EXPECT_EQ(options.LogPath(), "");
    EXPECT_EQ(options.Answer(), std::nullopt);
}

TEST(CommandLineOptions, TakeAnEndpointInEveryForm) {
    const struct {
        const char* mText;
        const char* mEndpoint;
    } rows[] = {
        {":6000", "0.0.0.0:6000"},          {"10.1.2.3", "10.1.2.3:2000"},   {"10.1.2.3:77", "10.1.2.3:77"},
        {"127.0.0.1:65537", "127.0.0.1:1"}, {"1.2.3.4:00080", "1.2.3.4:80"},
    };
    for (const auto& row : rows) {
        const std::string option = std::string("--telnet=") + row.mText;
        EXPECT_EQ(EndpointOf(Parse({option.c_str()})), row.mEndpoint) << row.mText;
        EXPECT_EQ(EndpointOf(Parse({"-t", row.mText})), row.mEndpoint) << row.mText;
    }
}

TEST(CommandLineOptions, RefuseABadEndpoint) {
    for (const char* text : {"10.1.2.3:0", "1.2.3", "1.2.3.4:", "1.2.3.4:x", ":-1", "a.b.c.d:80", "::1",
                             "1.2.3.4:65536", ":99999999999", "1.2.3.4:80 ", "1.2.3.4:80:81", ":"}) {
        EXPECT_THROW(Parse({"--telnet", text}), boost::program_options::validation_error) << text;
    }
    EXPECT_THROW(Parse({"--telnet", ":80", "-t", ":81"}), boost::program_options::error);
    EXPECT_THROW(Parse({"--bogus"}), boost::program_options::error);
    EXPECT_THROW(Parse({"--telnet"}), boost::program_options::error);
}

TEST(CommandLineOptions, AnswerHelpAndVersionAndIgnoreHid) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(Parse({"--version"}).Answer(), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Talvo Brindlet 2.0.5980\n");
    testing::internal::CaptureStdout();
    EXPECT_EQ(Parse({"--version", "--help"}).Answer(), 1);
    const std::string help = testing::internal::GetCapturedStdout();
    EXPECT_EQ(help.rfind("Available options:", 0), 0U) << help;
    EXPECT_NE(help.find("telnet address: [ip][:port]. Default: 0.0.0.0:55555"), std::string::npos) << help;
    EXPECT_EQ(Parse({"--hid"}).Answer(), std::nullopt);
    EXPECT_EQ(Parse({"--log", "/tmp/x y"}).LogPath(), "/tmp/x y");
}
