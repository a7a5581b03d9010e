#include "RouterOptions.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <set>
#include <system_error>

#include "LineText.h"

namespace sim {
namespace {

constexpr std::uint32_t kMaxWord = 0xFFFFFFFF;
constexpr std::uint32_t kLoopbackNet = 127;
constexpr std::uint32_t kFirstMulticastNet = 224;
constexpr unsigned kFirstOctetShift = 24;

std::string CheckedAddress(const std::string& text) {
    in_addr parsed{};
    if (::inet_pton(AF_INET, text.c_str(), &parsed) != 1) {
        throw BadText(Quoted(text) + " isn't an IPv4 address");
    }
    const std::uint32_t net = ntohl(parsed.s_addr) >> kFirstOctetShift;
    if (net == 0 || net >= kFirstMulticastNet) {
        throw BadText(Quoted(text) + " isn't the address of one host");
    }
    return text;
}

std::uint32_t Number(const std::string& text) {
    return ParseNumber("value", text, 0, kMaxWord);
}

struct Option {
    const char* mName;
    const char* mValue;  ///< null for a switch
    const char* mHelp;
    void (*mTake)(RouterOptions& options, const std::string& value);
};

constexpr Option kOptions[] = {
    {"--hid", "N", "the router's HID",
     [](RouterOptions& options, const std::string& value) {
         options.mHid = Number(value);
     }},
    {"--local", "ADDRESS", "its own address on the link",
     [](RouterOptions& options, const std::string& value) {
         options.mLocal = CheckedAddress(value);
     }},
    {"--box", "ADDRESS", "the box's address there",
     [](RouterOptions& options, const std::string& value) {
         options.mBox = CheckedAddress(value);
     }},
    {"--type", "N", "device type in its heartbeats (1)",
     [](RouterOptions& options, const std::string& value) {
         options.mType = Number(value);
     }},
    {"--master", nullptr, "dial the box's Master port",
     [](RouterOptions& options, const std::string&) {
         options.mMaster = true;
     }},
    {"--control", "[ip][:port]", "take requests here too, port 0 takes a free one",
     [](RouterOptions& options, const std::string& value) {
         options.mControl.emplace();
         ParseEndpoint(value, *options.mControl);
     }},
    {"--help", nullptr, "list these options",
     [](RouterOptions& options, const std::string&) {
         options.mHelp = true;
     }},
};

const Option& FindOption(const std::string& name) {
    const auto* const found = std::find_if(std::begin(kOptions), std::end(kOptions),
                                           [&name](const Option& option) { return option.mName == name; });
    if (found == std::end(kOptions)) {
        throw BadText("unknown option " + Quoted(name) + "; --help lists the options");
    }
    return *found;
}

void TakeOption(RouterOptions& options, const Option& option, const std::string& value) {
    try {
        option.mTake(options, value);
    } catch (const BadText& reason) {
        throw BadText(std::string("option ") + option.mName + ": " + reason.what());
    }
}

bool IsOwnAddress(const std::string& dotted) {
    in_addr wanted{};
    ::inet_pton(AF_INET, dotted.c_str(), &wanted);
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot tell this host's own addresses");
    }
    bool isOwn = false;
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET) {
            const auto* const address = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
            isOwn = isOwn || address->sin_addr.s_addr == wanted.s_addr;
        }
    }
    ::freeifaddrs(list);
    return isOwn;
}

bool IsLoopback(const std::string& dotted) {
    in_addr address{};
    ::inet_pton(AF_INET, dotted.c_str(), &address);
    return ntohl(address.s_addr) >> kFirstOctetShift == kLoopbackNet;
}

}  // namespace

RouterOptions ParseRouterOptions(int argc, const char* const* argv) {
    RouterOptions options;
    std::set<std::string> seen;
    for (int at = 1; at < argc; ++at) {
        const std::string argument = argv[at];
        const std::size_t equals = argument.find('=');
        const Option& option = FindOption(argument.substr(0, equals));
        if (!seen.insert(option.mName).second) {
            throw BadText(std::string("option ") + option.mName + " is given twice");
        }
        if (option.mValue == nullptr) {
            if (equals != std::string::npos) {
                throw BadText(std::string("option ") + option.mName + " takes no value");
            }
            TakeOption(options, option, {});
        } else if (equals != std::string::npos) {
            TakeOption(options, option, argument.substr(equals + 1));
        } else if (at + 1 < argc) {
            TakeOption(options, option, argv[++at]);
        } else {
            throw BadText(std::string("option ") + option.mName + " needs a value");
        }
    }
    for (const char* needed : {"--hid", "--local", "--box"}) {
        if (!options.mHelp && seen.count(needed) == 0) {
            throw BadText(std::string("option ") + needed + " is missing");
        }
    }
    return options;
}

void JudgeAddresses(const RouterOptions& options) {
    for (const std::string& address : {options.mLocal, options.mBox}) {
        if (IsLoopback(address)) {
            throw BadText(address +
                          " is a loopback address: the box would take this router for a simulated one");
        }
    }
    if (IsOwnAddress(options.mBox)) {
        throw BadText("the box at " + options.mBox +
                      " is on this very host: it would take this router for a simulated one");
    }
}

std::string RouterOptionsHelp() {
    std::string help =
        "talvo-router-sim --hid N --local ADDRESS --box ADDRESS [options]\n\n"
        "A virtual Talvo router on one link. Requests come as lines on standard input; 'help' names them.\n";
    for (const Option& option : kOptions) {
        const std::string usage =
            option.mValue == nullptr ? option.mName : std::string(option.mName) + " " + option.mValue;
        help += "  " + usage + std::string(24 - std::min<std::size_t>(usage.size(), 23), ' ') + option.mHelp +
                "\n";
    }
    return help;
}

}  // namespace sim
