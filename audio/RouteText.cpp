#include "RouteText.h"

#include <charconv>
#include <optional>

#include "TransactionWord.h"

namespace audio {

namespace {

/// Reads the elements off the front of a text. An operation that fails leaves the text as it was.
class Reader {
  public:
    Reader(std::string_view text, unsigned address) : mText(text), mAddress(address) {}

    std::string_view Rest() const { return mText; }

    bool Take(char wanted) {
        if (mText.empty() || mText.front() != wanted) {
            return false;
        }
        mText.remove_prefix(1);
        return true;
    }

    bool TakeElement(std::vector<std::uint16_t>& words) {
        const std::string_view start = mText;
        const bool silent = Take('!');
        const std::optional<unsigned> first = TakeNumber();
        if (!first) {
            mText = start;
            return false;
        }
        const std::optional<unsigned> last = TakeSecond('-');
        const unsigned stride = last && !silent ? TakeStride() : 1;
        Append(words, *first, last.value_or(*first), stride, silent);
        return true;
    }

  private:
    std::optional<unsigned> TakeNumber() {
        std::uint16_t number = 0;
        const auto [end, error] = std::from_chars(mText.data(), mText.data() + mText.size(), number);
        if (error != std::errc()) {
            return std::nullopt;
        }
        mText.remove_prefix(static_cast<std::size_t>(end - mText.data()));
        return number;
    }

    /// The number behind `separator`, where both stand there.
    std::optional<unsigned> TakeSecond(char separator) {
        const std::string_view start = mText;
        if (Take(separator)) {
            if (const std::optional<unsigned> number = TakeNumber()) {
                return number;
            }
        }
        mText = start;
        return std::nullopt;
    }

    /// A stride of 0 would never arrive: it is left standing, which makes the text a bad one.
    unsigned TakeStride() {
        const std::string_view start = mText;
        const unsigned stride = TakeSecond(':').value_or(1);
        if (stride != 0) {
            return stride;
        }
        mText = start;
        return 1;
    }

    void Append(std::vector<std::uint16_t>& words, unsigned first, unsigned last, unsigned stride,
                bool silent) const {
        const unsigned distance = first <= last ? last - first : first - last;
        for (unsigned step = 0; step <= distance; step += stride) {
            const unsigned sample = first <= last ? first + step : first - step;
            words.push_back(silent ? std::uint16_t{0} : EndpointWord(mAddress, sample));
        }
    }

    std::string_view mText;
    unsigned mAddress;
};

}  // namespace

RouteText RouteText::Parse(std::string_view text, unsigned address) {
    RouteText route;
    Reader reader(text, address);
    route.mRest = text;
    while (reader.TakeElement(route.mWords)) {
        route.mRest = reader.Rest();
        if (!reader.Take(',')) {
            break;
        }
    }
    return route;
}

}  // namespace audio
