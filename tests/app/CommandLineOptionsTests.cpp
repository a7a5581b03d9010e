#include "CommandLineOptions.h"

#include <gtest/gtest.h>

#include <boost/asio/ip/address_v4.hpp>
#include <boost/program_options/errors.hpp>
#include <vector>

namespace {

CommandLineOptions Parse(std::vector<const char*> words) {
    words.insert(words.begin(), "TalvoBrindlet");
    return {static_cast<int>(words.size()), words.data()};
}

std::string EndpointOf(const std::vector<const char*>& words) {
    const CommandLineOptions::Endpoint endpoint = Parse(words).Telnet();
    return boost::asio::ip::address_v4(endpoint.mAddress).to_string() + ":" + std::to_string(endpoint.mPort);
}

}  // namespace

TEST(CommandLineOptions, TakeAnEndpointInEveryForm) {
    const std::pair<const char*, const char*> rows[] = {
        {":6000", "0.0.0.0:6000"},          {"10.1.2.3", "10.1.2.3:2000"},   {"10.1.2.3:77", "10.1.2.3:77"},
        {"127.0.0.1:65537", "127.0.0.1:1"}, {"1.2.3.4:00080", "1.2.3.4:80"},
    };
    for (const auto& [text, endpoint] : rows) {
        const std::string option = std::string("--telnet=") + text;
        EXPECT_EQ(EndpointOf({option.c_str()}), endpoint) << text;
        EXPECT_EQ(EndpointOf({"-t", text}), endpoint) << text;
    }
    EXPECT_EQ(EndpointOf({}), "0.0.0.0:55555");
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

TEST(CommandLineOptions, AnswerHelpFirstAndIgnoreHid) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(Parse({"--version", "--help"}).Answer(), 1);
    const std::string help = testing::internal::GetCapturedStdout();
    EXPECT_EQ(help.rfind("Available options:", 0), 0U) << help;
    EXPECT_NE(help.find("telnet address: [ip][:port]. Default: 0.0.0.0:55555"), std::string::npos) << help;
    EXPECT_EQ(Parse({"--hid"}).Answer(), std::nullopt);
    EXPECT_EQ(Parse({"--log", "/tmp/x y"}).LogPath(), "/tmp/x y");
    EXPECT_EQ(Parse({}).LogPath(), "");
}
