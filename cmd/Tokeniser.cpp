#include "Tokeniser.h"

#include <boost/algorithm/string/trim.hpp>
#include <boost/token_functions.hpp>
#include <boost/tokenizer.hpp>
#include <utility>

std::vector<std::string> cmd::Tokenise(std::string_view text) {
    using Separator = boost::escaped_list_separator<char>;
    using Tokenizer = boost::tokenizer<Separator, std::string_view::const_iterator>;
    std::vector<std::string> tokens;
    for (std::string token : Tokenizer(text, Separator("", " ", "\"{}"))) {
        boost::algorithm::trim(token);
        if (!token.empty()) {
            tokens.push_back(std::move(token));
        }
    }
    return tokens;
}
