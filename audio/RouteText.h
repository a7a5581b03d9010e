#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace audio {

/// What a route text says: a list of samples, or silence, for the samples of a sink in order.
///
/// Elements stand between commas without blanks, numbers are decimal, 0 to 65535:
///
/// | element | entries                                           |
/// |---------|---------------------------------------------------|
/// | a-b:s   | every s-th sample from a towards b, s at least 1  |
/// | a-b     | the samples from a to b, downwards where b is less |
/// | !a-b    | silence, as many entries as a-b has               |
/// | a       | one sample                                        |
/// | !a      | one entry of silence                              |
struct RouteText {
    std::vector<std::uint16_t> mWords;  ///< endpoint words; 0 is silence
    std::string_view mRest;             ///< what could not be read; refers to the text given to Parse

    /// Good where at least one element was read and nothing is left.
    bool IsGood() const { return !mWords.empty() && mRest.empty(); }

    /// Reads as much of `text` as it can, for the source endpoint at `address`.
    static RouteText Parse(std::string_view text, unsigned address);
};

}  // namespace audio
