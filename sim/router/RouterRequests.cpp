#include "RouterRequests.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>

#include "DeskCommands.h"
#include "LineText.h"
#include "RouterLink.h"

namespace sim {

struct RouterRequests::Request {
    const char* mName;
    const char* mUsage;  ///< the arguments, as `help` shows them
    std::size_t mLeast;  ///< how many of them
    std::size_t mMost;

    /// Gives what stands behind "ok".
    std::string (*mHandle)(RouterLink& link, const Arguments& arguments);
};

namespace {

using Arguments = std::vector<std::string>;

constexpr std::uint32_t kMaxByte = 0xFF;
constexpr std::uint32_t kMaxPort = 0xFFFF;
constexpr std::uint32_t kMaxWord = 0xFFFFFFFF;
constexpr std::size_t kMaxEntries = 65536;

/// cB; what a router says of an input unless it is told otherwise.
constexpr std::int16_t kDefaultLevel = 280;

std::uint16_t ParsePort(const std::string& text) {
    return static_cast<std::uint16_t>(ParseNumber("PORT", text, 0, kMaxPort));
}

std::int32_t ParseGain(const std::string& text) {
    return ParseSigned("CB", text, std::numeric_limits<std::int32_t>::min(),
                       std::numeric_limits<std::int32_t>::max());
}

std::int16_t ParseLevel(const char* what, const std::string& text) {
    return static_cast<std::int16_t>(ParseSigned(what, text, std::numeric_limits<std::int16_t>::min(),
                                                 std::numeric_limits<std::int16_t>::max()));
}

template <class Command>
std::string SendPlain(RouterLink& link, const Arguments& /*arguments*/) {
    link.Send(Command());
    return {};
}

std::string Bitmap(RouterLink& link, const Arguments& arguments) {
    PortBitmapCmd command;
    command.mHid = link.BoxHid();
    for (const std::string& argument : arguments) {
        const std::size_t colon = argument.find(':');
        if (colon == std::string::npos) {
            throw BadText(Quoted(argument) + " isn't AUDIOPORT:ROUTE");
        }
        const auto port =
            static_cast<std::uint16_t>(ParseNumber("AUDIOPORT", argument.substr(0, colon), 0, kMaxPort));
        const auto route =
            static_cast<std::uint8_t>(ParseNumber("ROUTE", argument.substr(colon + 1), 0, kMaxByte));
        command.mEntries[port] = {link.Hid(), route};
    }
    link.Send(command);
    return {};
}

std::string Gain(RouterLink& link, const Arguments& arguments) {
    constexpr std::uint8_t kAllOfGain = 0x29;
    constexpr std::size_t kWithLevels = 4;
    if (arguments.size() == kWithLevels - 1) {
        throw BadText("LEVEL needs HEADROOM beside it");
    }
    IoSetInputParams command;
    command.mHid = link.BoxHid();
    command.mPort = ParsePort(arguments[0]);
    command.mGain = ParseGain(arguments[1]);
    const bool hasLevels = arguments.size() == kWithLevels;
    command.mOperatingLevel = hasLevels ? ParseLevel("LEVEL", arguments[2]) : kDefaultLevel;
    command.mMicHeadroom = hasLevels ? ParseLevel("HEADROOM", arguments[3]) : kDefaultLevel;
    command.mEnables = kAllOfGain;
    link.Send(command);
    return {};
}

std::string Phantom(RouterLink& link, const Arguments& arguments) {
    IoSetInputParams command;
    command.mHid = link.BoxHid();
    command.mPort = ParsePort(arguments[0]);
    command.mPhantomPower = ParseOn(arguments[1]) ? 1 : 0;
    command.mEnables = IoSetInputParams::kEnablePhantomPower;
    link.Send(command);
    return {};
}

std::string OutputGain(RouterLink& link, const Arguments& arguments) {
    IoSetOutputGain command;
    command.mHid = link.BoxHid();
    command.mPort = ParsePort(arguments[0]);
    command.mGain = ParseGain(arguments[1]);
    link.Send(command);
    return {};
}

std::string Mute(RouterLink& link, const Arguments& arguments) {
    IoOutputMuteCmd command;
    command.mHid = link.BoxHid();
    command.mPort = ParsePort(arguments[0]);
    command.mMute = ParseOn(arguments[1]) ? 1 : 0;
    link.Send(command);
    return {};
}

std::string Rate(RouterLink& link, const Arguments& arguments) {
    IoSetSampleRateCmd command;
    command.mRate = static_cast<std::uint8_t>(ParseNumber("ID", arguments[0], 0, kMaxByte));
    command.mWaitMs = arguments.size() > 1 ? ParseNumber("WAIT_MS", arguments[1], 0, kMaxWord) : 0;
    link.Send(command);
    return {};
}

std::string Swap(RouterLink& link, const Arguments& /*arguments*/) {
    IoSyncSwap command;
    command.mHid = link.Hid();
    link.Send(command);
    return {};
}

std::string Raw(RouterLink& link, const Arguments& arguments) {
    link.SendRaw(ParseHex("HEX", arguments[0]));
    return {};
}

std::string Datagram(RouterLink& link, const Arguments& arguments) {
    link.SendDatagram(ParseHex("HEX", arguments[0]));
    return {};
}

std::string SetHeartbeat(RouterLink& link, const Arguments& arguments) {
    link.SetHeartbeat(ParseOn(arguments[0]));
    return {};
}

std::string SetReading(RouterLink& link, const Arguments& arguments) {
    link.SetReading(ParseOn(arguments[0]));
    return {};
}

std::string Disconnect(RouterLink& link, const Arguments& /*arguments*/) {
    link.Disconnect();
    return {};
}

std::string Connect(RouterLink& link, const Arguments& /*arguments*/) {
    link.Connect();
    return {};
}

std::string State(RouterLink& link, const Arguments& /*arguments*/) {
    return link.StateText();
}

}  // namespace

const RouterRequests::Request RouterRequests::kRequests[] = {
    {"claim", "", 0, 0, &SendPlain<IoActiveRouter>},
    {"bitmap", " AUDIOPORT:ROUTE ...", 1, kMaxEntries, &Bitmap},
    {"gain", " PORT CB [LEVEL HEADROOM]", 2, 4, &Gain},
    {"phantom", " PORT on|off", 2, 2, &Phantom},
    {"outgain", " PORT CB", 2, 2, &OutputGain},
    {"mute", " PORT on|off", 2, 2, &Mute},
    {"rate", " ID [WAIT_MS]", 1, 2, &Rate},
    {"info", "", 0, 0, &SendPlain<IoInfoReq>},
    {"swap", "", 0, 0, &Swap},
    {"fail", "", 0, 0, &SendPlain<IoSyncFail>},
    {"raw", " HEX", 1, 1, &Raw},
    {"datagram", " HEX", 1, 1, &Datagram},
    {"heartbeat", " on|off", 1, 1, &SetHeartbeat},
    {"read", " on|off", 1, 1, &SetReading},
    {"disconnect", "", 0, 0, &Disconnect},
    {"connect", "", 0, 0, &Connect},
    {"state", "", 0, 0, &State},
};

std::string RouterRequests::Handle(const std::string& line) {
    try {
        const std::string value = Dispatch(line);
        return value.empty() ? "ok" : "ok " + value;
    } catch (const BadText& failure) {
        return std::string("error ") + failure.what();
    }
}

std::string RouterRequests::Dispatch(const std::string& line) {
    const Arguments words = SplitWords(line, kMaxEntries);
    if (words.empty()) {
        throw BadText("the line is empty; 'help' names the requests");
    }
    if (words[0] == "help") {
        std::string names;
        for (const Request& request : kRequests) {
            names.append(names.empty() ? "" : "; ").append(request.mName).append(request.mUsage);
        }
        return names;
    }
    const auto* const request = std::find_if(std::begin(kRequests), std::end(kRequests),
                                             [&words](const Request& row) { return row.mName == words[0]; });
    if (request == std::end(kRequests)) {
        throw BadText("unknown request " + Quoted(words[0]) + "; 'help' names the requests");
    }
    const Arguments arguments(words.begin() + 1, words.end());
    if (arguments.size() < request->mLeast || arguments.size() > request->mMost) {
        throw BadText(std::string("usage: ") + request->mName + request->mUsage);
    }
    return request->mHandle(mLink, arguments);
}

}  // namespace sim
