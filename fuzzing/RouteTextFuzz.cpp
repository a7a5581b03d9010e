// Bytes as a typed route.

#include "RouteText.h"

#include <string>
#include <string_view>
#include <vector>

#include "FuzzTarget.h"
#include "TransactionWord.h"

namespace {

/// The samples one by one, silence as such.
std::string Written(const std::vector<std::uint16_t>& words) {
    std::string text;
    for (const std::uint16_t word : words) {
        text += (text.empty() ? "" : ",") + (word == 0 ? std::string("!0") : std::to_string(word));
    }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr unsigned kAddress = 5;
    constexpr std::size_t kMostWritten = 4096;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto route = audio::RouteText::Parse(text, 0);
    Require(route.mRest.size() <= size && route.mRest == text.substr(size - route.mRest.size()),
            "what can't be read is the end of the text");

    const auto read = audio::RouteText::Parse(text.substr(0, size - route.mRest.size()), kAddress);
    Require(read.IsGood() == !route.mWords.empty(), "what could be read is good by itself");
    Require(read.mWords.size() == route.mWords.size(), "an address changes no number of entries");
    for (std::size_t i = 0; i < read.mWords.size(); ++i) {
        const bool isSilent = read.mWords[i] == 0 && route.mWords[i] == 0;
        Require(isSilent || read.mWords[i] == audio::EndpointWord(kAddress, route.mWords[i]),
                "an address is added to each sample and to no silence");
    }
    if (!read.mWords.empty() && text.front() != '!') {
        const auto silent = audio::RouteText::Parse("!" + std::string(text), kAddress);
        Require(!silent.mWords.empty() && silent.mWords.front() == 0, "silence has no address");
    }
    if (!route.mWords.empty() && route.mWords.size() <= kMostWritten) {
        const std::string written = Written(route.mWords);
        const auto again = audio::RouteText::Parse(written, 0);
        Require(again.IsGood() && again.mWords == route.mWords, "a route that is written again is the same");
    }
    return 0;
}
