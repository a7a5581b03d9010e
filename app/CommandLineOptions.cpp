#include "CommandLineOptions.h"

#include <arpa/inet.h>

#include <boost/any.hpp>
#include <boost/program_options/errors.hpp>
#include <boost/program_options/options_description.hpp>
#include <boost/program_options/parsers.hpp>
#include <boost/program_options/value_semantic.hpp>
#include <boost/program_options/variables_map.hpp>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "ApplicationVersion.h"

namespace po = boost::program_options;

namespace {

using Endpoint = CommandLineOptions::Endpoint;

/// Not the default port: an address alone has always meant this one.
constexpr std::uint16_t kPortOfAddressAlone = 2000;

/// A type of its own, so that the option parser finds its conversion.
struct TelnetEndpoint {
    Endpoint mEndpoint;
};

std::optional<std::uint32_t> ParseAddress(const std::string& text) {
    in_addr address{};
    if (inet_pton(AF_INET, text.empty() ? "0.0.0.0" : text.c_str(), &address) != 1) {
        return std::nullopt;
    }
    return ntohl(address.s_addr);
}

/// The low 16 bits of the number; 0, which is no port, for anything but digits or for more than a number
/// holds.
std::uint16_t ParsePort(const std::string& text) {
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
        return 0;
    }
    try {
        return static_cast<std::uint16_t>(std::stoi(text));
    } catch (const std::out_of_range&) {
        return 0;
    }
}

/// Reads "[ip][:port]".
Endpoint ParseEndpoint(const std::string& text) {
    const std::size_t colon = text.find(':');
    const auto address = ParseAddress(text.substr(0, colon));
    const std::uint16_t port =
        colon == std::string::npos ? kPortOfAddressAlone : ParsePort(text.substr(colon + 1));
    if (!address || port == 0) {
        throw po::validation_error(po::validation_error::invalid_option_value);
    }
    return {*address, port};
}

// Found by the option parser by its arguments' types.
void validate(boost::any& value,
              const std::vector<std::string>& texts,  // NOLINT(readability-identifier-naming)
              TelnetEndpoint* /*type*/, int /*unused*/) {
    po::validators::check_first_occurrence(value);
    value = TelnetEndpoint{ParseEndpoint(po::validators::get_single_string(texts))};
}

}  // namespace

CommandLineOptions::CommandLineOptions(int argc, const char* const argv[]) {
    po::options_description description("Available options");
    description.add_options()("help", "display help message")("version", "version info")(
        "telnet,t", po::value<TelnetEndpoint>(), "telnet address: [ip][:port]. Default: 0.0.0.0:55555")(
        "log,l", po::value<std::string>(&mLogPath), "name, including path, of the log file to use")("hid",
                                                                                                    "");
    po::variables_map values;
    po::store(po::parse_command_line(argc, argv, description), values);
    po::notify(values);
    if (values.count("telnet") != 0) {
        mTelnet = values["telnet"].as<TelnetEndpoint>().mEndpoint;
    }
    mHelp = values.count("help") != 0;
    mVersion = values.count("version") != 0;
    // The blank keeps `--hid` without effect: scripts of old boxes still pass it, and must not stop the
    // start.
    mHid = values.count("hid ") != 0;
    std::ostringstream helpText;
    helpText << description;
    mHelpText = helpText.str();
}

std::optional<int> CommandLineOptions::Answer() const {
    if (mHelp) {
        std::cout << mHelpText << std::endl;
        return 1;
    }
    if (mVersion) {
        std::cout << "Talvo Brindlet " << kApplicationVersion << std::endl;
        return 1;
    }
    if (mHid) {
        std::cout << "The Brindlet HID cannot be configured via the command line arguments." << std::endl
                  << "Use the DIP switches to configure the HID. " << std::endl;
        return 1;
    }
    return std::nullopt;
}
