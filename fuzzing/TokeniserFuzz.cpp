// Bytes as what stands behind a typed command's name: taken apart, each word as every type of argument.

#include "Tokeniser.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "ActionN.h"
#include "FuzzTarget.h"
#include "Parser.h"

namespace {

void CheckToken(const std::string& token) {
    Require(token.find_first_of("\"{}") == std::string::npos, "quotes are dropped");
    Require(cmd::Tokenise("{" + token + "}") == std::vector<std::string>{token},
            "a quoted argument is that argument");
}

template <class Number>
void ReadNumber(const std::string& token) {
    constexpr Number kUntouched = 77;
    Number value = kUntouched;
    if (!cmd::parser::Convert(token, value)) {
        Require(value == kUntouched, "a refused word touches nothing");
        return;
    }
    Number again = 0;
    Require(cmd::parser::Convert(std::to_string(value), again) && again == value,
            "a number that is written again is the same");
    const bool isDecimal =
        std::all_of(token.begin() + 1, token.end(), [](char c) { return c >= '0' && c <= '9'; });
    Require(isDecimal, "a number is decimal and whole");
}

/// What the parser makes of the words for a command that takes one `Parameter`: called, or answered.
template <class Parameter>
void Invoke(const std::vector<std::string>& tokens) {
    bool isCalled = false;
    const auto action = cmd::action::MakeAction(
        "take", [&isCalled](const Parameter&) { isCalled = true; }, "Takes a value.");
    const std::string reply = action->Invoke(tokens, nullptr);
    Require(reply.empty() == isCalled, "a command is called or its words are answered");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::vector<std::string> tokens = cmd::Tokenise(text);
    std::size_t length = 0;
    for (const std::string& token : tokens) {
        length += token.size();
        CheckToken(token);
        ReadNumber<int>(token);
        ReadNumber<short>(token);
        ReadNumber<unsigned>(token);
        ReadNumber<unsigned short>(token);
        ReadNumber<unsigned char>(token);
        Invoke<bool>({token});
        Invoke<std::string>({token});
        Invoke<audio::FrequencyScaler>({token});
        Invoke<SampleRates::SystemSampleRates>({token});
    }
    Require(length <= size, "nothing is added");
    Invoke<int>(tokens);
    return 0;
}
