#include "BenchRequests.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>

#include "Board.h"
#include "BoardBits.h"
#include "LineText.h"

namespace sim {

struct BenchRequests::Request {
    const char* mName;
    const char* mUsage;  ///< the arguments, as `help` shows them
    std::size_t mLeast;  ///< how many of them
    std::size_t mMost;
    BenchAnswer (BenchRequests::*mHandle)(const Arguments& arguments);
};

const BenchRequests::Request BenchRequests::kRequests[] = {
    {"help", "", 0, 0, &BenchRequests::Help},
    {"read", " IDENTITY OFFSET", 2, 2, &BenchRequests::Read},
    {"word", " IDENTITY ADDRESS", 2, 2, &BenchRequests::Word},
    {"set", " IDENTITY ADDRESS VALUE", 3, 3, &BenchRequests::Set},
    {"irq", " IDENTITY ID", 2, 2, &BenchRequests::Irq},
    {"dip", " N", 1, 1, &BenchRequests::Dip},
    {"psu", " reading N, psu line ok|fault, psu protection ok|fault", 2, 2, &BenchRequests::Psu},
    {"measure", " CLOCK COUNT", 2, 2, &BenchRequests::Measure},
    {"pll", " locked|unlocked", 1, 1, &BenchRequests::Pll},
    {"sync", " auto|hold|release", 1, 1, &BenchRequests::Sync},
    {"link", " 0|1 up HID PORT [fsi N] [adma N] [flags N], link 0|1 down [flags N]", 2, 10,
     &BenchRequests::Link},
    {"netlink", " HEX", 1, 1, &BenchRequests::Netlink},
    {"wait", " [MS]", 0, 1, &BenchRequests::Wait},
    {"table", " FIRST LAST", 2, 2, &BenchRequests::Table},
    {"hear", " ADDRESS SAMPLE", 2, 2, &BenchRequests::Hear},
    {"trace", " FILE|off", 1, 1, &BenchRequests::Trace},
    {"state", "", 0, 0, &BenchRequests::State},
};

namespace {

constexpr std::uint32_t kMaxWord = 0xFFFFFFFF;
constexpr std::uint32_t kMaxInterrupt = 31;
constexpr std::uint32_t kMaxByte = 0xFF;
constexpr std::uint32_t kMaxCount = 0xFFFFFF;
constexpr std::uint32_t kDefaultWaitMs = 5000;
constexpr std::uint32_t kMaxWaitMs = 3'600'000;

BenchAnswer Ok() {
    return {"ok", std::nullopt};
}

BenchAnswer Ok(const std::string& value) {
    return {"ok " + value, std::nullopt};
}

std::string Hex(std::uint32_t value, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*x", digits, value);
    return text;
}

std::string WordText(std::uint32_t value) {
    constexpr int kWordDigits = 8;
    return Hex(value, kWordDigits);
}

bool IsFault(const std::string& text) {
    return Choose(text, {"ok", "fault"}) == 1;
}

}  // namespace

BenchAnswer BenchRequests::Handle(const std::string& line) {
    try {
        return Dispatch(line);
    } catch (const std::exception& failure) {
        return {std::string("error ") + failure.what(), std::nullopt};
    }
}

BenchAnswer BenchRequests::Dispatch(const std::string& line) {
    constexpr std::size_t kNameAndRest = 2;
    const std::vector<std::string> nameAndRest = SplitWords(line, kNameAndRest);
    if (nameAndRest.empty()) {
        throw BadText("the line is empty; 'help' names the requests");
    }
    const Request& request = FindRequest(nameAndRest.front());
    Arguments arguments;
    if (nameAndRest.size() == kNameAndRest) {
        // A file's name may hold blanks; other arguments have none, and one too many is to be told.
        const bool takesLine = request.mHandle == &BenchRequests::Trace;
        arguments = SplitWords(nameAndRest.back(), takesLine ? 1 : request.mMost + 1);
    }
    if (arguments.size() < request.mLeast || arguments.size() > request.mMost) {
        throw BadText(std::string("usage: ") + request.mName + request.mUsage);
    }
    return (this->*request.mHandle)(arguments);
}

const BenchRequests::Request& BenchRequests::FindRequest(const std::string& name) {
    const auto* const found = std::find_if(std::begin(kRequests), std::end(kRequests),
                                           [&name](const Request& request) { return request.mName == name; });
    if (found == std::end(kRequests)) {
        throw BadText("unknown request " + Quoted(name) + "; 'help' names the requests");
    }
    return *found;
}

BenchAnswer BenchRequests::Help(const Arguments& /*arguments*/) {
    std::string names;
    for (const Request& request : kRequests) {
        names.append(names.empty() ? "" : "; ").append(request.mName).append(request.mUsage);
    }
    return Ok(names);
}

BenchAnswer BenchRequests::Read(const Arguments& arguments) {
    const std::string& identity = Node(arguments[0]);
    const std::uint32_t offset = ParseNumber("OFFSET", arguments[1], 0, kMaxWord);
    const auto value = mBoard.DirectRead(identity, offset);
    if (!value) {
        throw BadText(identity + " has no register at " + Hex(offset, 2));
    }
    return Ok(WordText(*value));
}

BenchAnswer BenchRequests::Word(const Arguments& arguments) {
    const std::string& identity = Node(arguments[0]);
    const std::uint32_t address = ParseNumber("ADDRESS", arguments[1], 0, kMaxWord);
    const auto value = mBoard.Word(identity, address);
    if (!value) {
        throw BadText(identity + " has no word at " + Hex(address, 1));
    }
    return Ok(WordText(*value));
}

BenchAnswer BenchRequests::Set(const Arguments& arguments) {
    const std::string& identity = Node(arguments[0]);
    const std::uint32_t address = ParseNumber("ADDRESS", arguments[1], 0, kMaxWord);
    const std::uint32_t value = ParseNumber("VALUE", arguments[2], 0, kMaxWord);
    if (!mBoard.SetWord(identity, address, value)) {
        throw BadText(identity + " has no word at " + Hex(address, 1));
    }
    return Ok();
}

BenchAnswer BenchRequests::Irq(const Arguments& arguments) {
    const std::string& identity = Node(arguments[0]);
    const std::uint32_t id = ParseNumber("ID", arguments[1], 0, kMaxInterrupt);
    if (!mBoard.RaiseInterrupt(identity, id)) {
        throw BadText(identity + " has no interrupts");
    }
    return Ok();
}

BenchAnswer BenchRequests::Dip(const Arguments& arguments) {
    mBoard.SetDip(ParseNumber("N", arguments[0], 0, kMaxByte));
    return Ok();
}

BenchAnswer BenchRequests::Psu(const Arguments& arguments) {
    switch (Choose(arguments[0], {"reading", "line", "protection"})) {
        case 0:
            mBoard.SetPsuReading(ParseNumber("N", arguments[1], 0, kReadingMask));
            break;
        case 1:
            mBoard.SetLineFault(IsFault(arguments[1]));
            break;
        default:
            mBoard.SetProtectionFault(IsFault(arguments[1]));
            break;
    }
    return Ok();
}

BenchAnswer BenchRequests::Measure(const Arguments& arguments) {
    const std::uint32_t clock = ParseNumber("CLOCK", arguments[0], 0, kMaxByte);
    const std::uint32_t count = ParseNumber("COUNT", arguments[1], 0, kMaxCount);
    if (!mBoard.Measure(clock, count)) {
        throw BadText(std::to_string(ReferenceBlock::kMaxQueued) + " measurements are queued already");
    }
    return Ok();
}

BenchAnswer BenchRequests::Pll(const Arguments& arguments) {
    mBoard.SetPllLocked(Choose(arguments[0], {"locked", "unlocked"}) == 0);
    return Ok();
}

BenchAnswer BenchRequests::Sync(const Arguments& arguments) {
    switch (Choose(arguments[0], {"auto", "hold", "release"})) {
        case 0:
            mBoard.SetSyncMode(SyncMode::Auto);
            break;
        case 1:
            mBoard.SetSyncMode(SyncMode::Hold);
            break;
        default:
            mBoard.ReleaseSync();
            break;
    }
    return Ok();
}

BenchAnswer BenchRequests::Link(const Arguments& arguments) {
    const auto link = static_cast<unsigned>(Choose(arguments[0], {"0", "1"}));
    mBoard.Links().SetLink(link, ParseLinkSpec({arguments.begin() + 1, arguments.end()}));
    return Ok();
}

BenchAnswer BenchRequests::Netlink(const Arguments& arguments) {
    mBoard.Links().SendDatagram(ParseHex("HEX", arguments[0]));
    return Ok();
}

BenchAnswer BenchRequests::Wait(const Arguments& arguments) {
    const std::uint32_t limit =
        arguments.empty() ? kDefaultWaitMs : ParseNumber("MS", arguments[0], 1, kMaxWaitMs);
    return {{}, std::chrono::milliseconds(limit)};
}

BenchAnswer BenchRequests::Table(const Arguments& arguments) {
    const std::uint32_t first = ParseNumber("FIRST", arguments[0], 0, kTableWords - 1);
    const std::uint32_t last = ParseNumber("LAST", arguments[1], first, kTableWords - 1);
    std::string words;
    for (const std::uint32_t word : mBoard.TableInUse(first, last)) {
        words.append(words.empty() ? "" : " ").append(WordText(word));
    }
    return Ok(words);
}

BenchAnswer BenchRequests::Hear(const Arguments& arguments) {
    const std::uint32_t address = ParseNumber("ADDRESS", arguments[0], 0, kMaxAdmaAddress);
    const std::uint32_t sample = ParseNumber("SAMPLE", arguments[1], 0, kMaxSample);
    const auto source = mBoard.Hear(address << kAddressShift | sample);
    if (!source) {
        return Ok("none");
    }
    if (*source == 0) {
        return Ok("silence");
    }
    return Ok(std::to_string(*source >> kAddressShift) + " " + std::to_string(*source & kMaxSample));
}

BenchAnswer BenchRequests::Trace(const Arguments& arguments) {
    const std::string& file = arguments[0];
    if (file == "off") {
        mBoard.StopTrace();
        return Ok();
    }
    if (file.find('\0') != std::string::npos) {
        throw BadText(Quoted(file) + " isn't a file's name");
    }
    mBoard.StartTrace(file);
    return Ok();
}

BenchAnswer BenchRequests::State(const Arguments& /*arguments*/) {
    return Ok(mBoard.StateText());
}

const std::string& BenchRequests::Node(const std::string& identity) const {
    if (!mBoard.HasNode(identity)) {
        throw BadText("the board has no node " + Quoted(identity));
    }
    return identity;
}

}  // namespace sim
