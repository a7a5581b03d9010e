#include "Action.h"

#include <boost/algorithm/string/trim.hpp>
#include <utility>

namespace cmd::action {

Action::Action(std::string_view name, std::string params, std::string_view description)
    : mName(boost::algorithm::trim_copy(std::string(name))), mParams(std::move(params)) {
    const std::size_t stop = description.find_first_of(".\n");
    mBrief = description.substr(0, stop);
    description.remove_prefix(stop == std::string_view::npos ? description.size() : stop + 1);
    const std::string detail = boost::algorithm::trim_copy(std::string(description));
    mHelp = (mBrief.empty() ? "" : mBrief + "\n\n") + "Usage: " + mName +
            (mParams.empty() ? "" : " " + mParams) + (detail.empty() ? "" : "\n\n" + detail);
}

std::string Action::CountError(std::size_t arity, std::size_t given) const {
    return "error: '" + mName + "' expects " + std::to_string(arity) + " argument(s), " +
           std::to_string(given) + " provided";
}

std::string UsageText(std::initializer_list<const char*> typeNames) {
    std::string text;
    for (const char* const name : typeNames) {
        text += text.empty() ? "'" : " '";
        text += name;
        text += "'";
    }
    return text;
}

}  // namespace cmd::action
