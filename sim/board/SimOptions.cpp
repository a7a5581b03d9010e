#include "SimOptions.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <set>
#include <sstream>

#include "BoardBits.h"
#include "LineText.h"

namespace sim {
namespace {

constexpr std::uint32_t kMaxWord = 0xFFFFFFFF;
constexpr std::uint32_t kMaxDip = 0xFF;

struct Option {
    const char* mName;
    const char* mValue;  ///< how help names the value; null for a switch
    bool mMayRepeat;
    const char* mHelp;
    void (*mTake)(SimOptions& options, const std::string& value);
};

void TakeRoot(SimOptions& options, const std::string& value) {
    options.mRoot = value;
}

void TakeBench(SimOptions& options, const std::string& value) {
    ParseEndpoint(value, options.mBench);
}

void TakeTrace(SimOptions& options, const std::string& value) {
    options.mTrace = value;
}

void TakeDip(SimOptions& options, const std::string& value) {
    options.mBoard.mDip = ParseNumber("value", value, 0, kMaxDip);
}

void TakeFirmware(SimOptions& options, const std::string& value) {
    options.mBoard.mFirmware = ParseNumber("value", value, 0, kMaxWord);
}

void TakeDcReading(SimOptions& options, const std::string& value) {
    options.mBoard.mDcReading = ParseNumber("value", value, 0, kReadingMask);
}

void TakeAdcId(SimOptions& options, const std::string& value) {
    options.mBoard.mAdcId = ParseNumber("value", value, 0, kMaxAdmaAddress);
}

void TakeDacId(SimOptions& options, const std::string& value) {
    options.mBoard.mDacId = ParseNumber("value", value, 0, kMaxAdmaAddress);
}

void TakeWithout(SimOptions& options, const std::string& value) {
    if (!Board::IsIdentity(value)) {
        throw BadText("the board has no node " + Quoted(value));
    }
    options.mBoard.mWithout.push_back(value);
}

template <unsigned Link>
void TakeLink(SimOptions& options, const std::string& value) {
    std::istringstream words(value);
    options.mBoard.mLinks[Link] = ParseLinkSpec({std::istream_iterator<std::string>(words), {}});
}

void TakeSyncing(SimOptions& options, const std::string& /*value*/) {
    options.mBoard.mSyncing = true;
}

void TakeHelp(SimOptions& options, const std::string& /*value*/) {
    options.mHelp = true;
}

constexpr Option kOptions[] = {
    {"--root", "DIR", false, "folder before the files that the application names (brindlet-root)", TakeRoot},
    {"--bench", "[ip][:port]", false,
     "where the bench port listens, port 0 takes a free one (127.0.0.1:55560)", TakeBench},
    {"--trace", "FILE", false, "write a register trace from the first access on", TakeTrace},
    {"--dip", "N", false, "DIP switch byte (1)", TakeDip},
    {"--firmware", "N", false, "firmware build word (1234)", TakeFirmware},
    {"--dc-reading", "N", false, "12-bit DC supply reading (2405, which is 24.0 V)", TakeDcReading},
    {"--adc-id", "N", false, "ADMA address of the ADC clocks, 0 to 7 (1)", TakeAdcId},
    {"--dac-id", "N", false, "ADMA address of the DAC clocks, 0 to 7 (4)", TakeDacId},
    {"--without", "IDENTITY", true, "the board has no node of that identity; may be repeated", TakeWithout},
    {"--link0", "SPEC", false,
     "the primary link's first state: 'up HID PORT [fsi N] [adma N] [flags N]' or 'down [flags N]' (down)",
     TakeLink<0>},
    {"--link1", "SPEC", false, "the secondary link's, likewise (down)", TakeLink<1>},
    {"--syncing", nullptr, false, "at power-up a change-over is in progress and held", TakeSyncing},
    {"--help", nullptr, false, "list these options", TakeHelp},
};

const Option& FindOption(const std::string& name) {
    const auto* const found = std::find_if(std::begin(kOptions), std::end(kOptions),
                                           [&name](const Option& option) { return option.mName == name; });
    if (found == std::end(kOptions)) {
        throw BadText(name.rfind('-', 0) == 0
                          ? "unknown option " + Quoted(name) + "; --help lists the options"
                          : "unexpected argument " + Quoted(name) + "; application options go behind --");
    }
    return *found;
}

/// Walks the bench options up to "--".
class OptionReader {
  public:
    OptionReader(int argc, char* argv[]) : mAt(argv + std::min(argc, 1)), mEnd(argv + argc) {}

    char** ReadInto(SimOptions& options) {
        while (mAt != mEnd) {
            const std::string argument = *mAt++;
            if (argument == "--") {
                break;
            }
            ReadOne(argument, options);
        }
        return mAt;
    }

  private:
    void ReadOne(const std::string& argument, SimOptions& options) {
        const std::size_t equals = argument.find('=');
        const Option& option = FindOption(argument.substr(0, equals));
        if (!mSeen.insert(option.mName).second && !option.mMayRepeat) {
            throw BadText(std::string("option ") + option.mName + " is given twice");
        }
        const std::string value = ValueOf(option, argument, equals);
        try {
            option.mTake(options, value);
        } catch (const BadText& reason) {
            throw BadText(std::string("option ") + option.mName + ": " + reason.what());
        }
    }

    std::string ValueOf(const Option& option, const std::string& argument, std::size_t equals) {
        if (option.mValue == nullptr) {
            if (equals != std::string::npos) {
                throw BadText(std::string("option ") + option.mName + " takes no value");
            }
            return {};
        }
        if (equals != std::string::npos) {
            return CheckedValue(option, argument.substr(equals + 1));
        }
        const bool hasNext = mAt != mEnd && std::string(*mAt).rfind("--", 0) != 0;
        return CheckedValue(option, hasNext ? *mAt++ : "");
    }

    static std::string CheckedValue(const Option& option, const std::string& value) {
        if (value.empty()) {
            throw BadText(std::string("option ") + option.mName + " needs a value: " + option.mName + " " +
                          option.mValue);
        }
        return value;
    }

    char** mAt;
    char** mEnd;
    std::set<std::string> mSeen;
};

}  // namespace

SimOptions ParseSimOptions(int argc, char* argv[]) {
    SimOptions options;
    char** const rest = OptionReader(argc, argv).ReadInto(options);
    static char name[] = "brindlet-sim";
    options.mApplication.push_back(argc > 0 ? argv[0] : name);
    options.mApplication.insert(options.mApplication.end(), rest, argv + argc);
    options.mApplication.push_back(nullptr);
    return options;
}

std::string SimOptionsHelp() {
    std::string help =
        "brindlet-sim [bench options] [-- application options]\n\n"
        "The application on a virtual board. Bench options, with their defaults in brackets:\n";
    for (const Option& option : kOptions) {
        const std::string usage = std::string(option.mName) + (option.mValue == nullptr ? "" : " ") +
                                  (option.mValue == nullptr ? "" : option.mValue);
        char line[160];
        std::snprintf(line, sizeof line, "  %-22s %s\n", usage.c_str(), option.mHelp);
        help += line;
    }
    return help + "\nNumbers are decimal, or hexadecimal behind 0x.\n";
}

}  // namespace sim
