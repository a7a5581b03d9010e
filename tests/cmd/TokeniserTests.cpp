#include "Tokeniser.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace {

TEST(Tokeniser, SplitsAtBlanksOutsideQuotes) {
    const std::vector<std::pair<std::string, std::vector<std::string>>> rows = {
        {"   ", {}},
        {"  a   b ", {"a", "b"}},
        {"{t1 t2}", {"t1 t2"}},
        {"{t1 t2\" x", {"t1 t2", "x"}},  // any quote ends what another began
        {"a{ b }c d", {"a b c", "d"}},
        {"{ b } \"\" {}", {"b"}},
        {"a {b c", {"a", "b c"}},
        {"a\tb c\t", {"a\tb", "c"}},
        {"\\ \\\"n", {"\\", "\\n"}},
    };
    for (const auto& [text, tokens] : rows) {
        EXPECT_THAT(cmd::Tokenise(text), testing::ElementsAreArray(tokens)) << "'" << text << "'";
    }
}

}  // namespace
