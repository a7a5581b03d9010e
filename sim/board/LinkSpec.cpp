#include "LinkSpec.h"

#include "LineText.h"

namespace sim {
namespace {

constexpr std::uint32_t kMaxWord = 0xFFFFFFFF;
constexpr std::uint32_t kDownHid = 0xFFFFFFFF;  ///< says that a link is down, so it is no router's

std::optional<std::uint32_t>& FieldOf(LinkSpec& spec, const std::string& name) {
    if (name == "flags") {
        return spec.mFlags;
    }
    if (spec.mUp && name == "fsi") {
        return spec.mFsi;
    }
    if (spec.mUp && name == "adma") {
        return spec.mAdma;
    }
    throw BadText(Quoted(name) + (spec.mUp ? " isn't one of fsi adma flags" : " isn't flags"));
}

}  // namespace

LinkSpec ParseLinkSpec(const std::vector<std::string>& words) {
    constexpr std::size_t kUpWords = 3;
    LinkSpec spec;
    std::size_t at = 1;
    if (!words.empty() && words[0] == "up") {
        if (words.size() < kUpWords) {
            throw BadText("up needs HID and PORT");
        }
        spec.mUp = true;
        spec.mHid = ParseNumber("HID", words[1], 0, kDownHid - 1);
        spec.mPort = ParseNumber("PORT", words[2], 0, kMaxWord);
        at = kUpWords;
    } else if (words.empty() || words[0] != "down") {
        throw BadText((words.empty() ? "''" : Quoted(words[0])) + " isn't one of up down");
    }
    for (; at < words.size(); at += 2) {
        std::optional<std::uint32_t>& field = FieldOf(spec, words[at]);
        if (at + 1 == words.size()) {
            throw BadText(words[at] + " needs a number");
        }
        if (field) {
            throw BadText(words[at] + " is given twice");
        }
        field = ParseNumber(words[at].c_str(), words[at + 1], 0, kMaxWord);
    }
    return spec;
}

}  // namespace sim
