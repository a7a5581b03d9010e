#include "SampleRanges.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "AudioDmaEndpoint.h"

namespace cmd {

namespace {

std::optional<std::uint32_t> TakeNumber(std::string_view& text) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

bool Take(std::string_view& text, char wanted) {
    if (text.empty() || text.front() != wanted) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

/// Adds a sample to the ascending list. False where it may not follow.
bool AddSample(std::vector<std::uint16_t>& words, std::uint64_t sample,
               const audio::AudioDmaEndpoint& endpoint) {
    if (sample >= endpoint.SampleCount()) {
        return false;
    }
    const std::uint16_t word = endpoint.Word(static_cast<unsigned>(sample));
    if (std::binary_search(words.begin(), words.end(), word)) {
        return true;
    }
    if (!words.empty() && word < words.back()) {
        return false;
    }
    words.push_back(word);
    return true;
}

/// Takes one sample or range off the text. False where there is none, or one of its samples is refused.
bool TakeElement(std::string_view& text, std::vector<std::uint16_t>& words,
                 const audio::AudioDmaEndpoint& endpoint) {
    const std::optional<std::uint32_t> first = TakeNumber(text);
    const std::optional<std::uint32_t> last = first && Take(text, '-') ? TakeNumber(text) : first;
    if (!first || !last) {
        return false;
    }
    for (std::uint64_t sample = *first; sample <= *last; ++sample) {
        if (!AddSample(words, sample, endpoint)) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::vector<std::uint16_t> ParseSampleRanges(std::string_view text, const audio::AudioDmaEndpoint& endpoint) {
    std::vector<std::uint16_t> words;
    do {
        if (!TakeElement(text, words, endpoint)) {
            return {};
        }
    } while (Take(text, ','));
    return text.empty() ? words : std::vector<std::uint16_t>{};
}

}  // namespace cmd
