#include "RootedPath.h"

#include <utility>

RootedPath::RootedPath(std::string path) : mShown(std::move(path)) {}

RootedPath::RootedPath(std::string root, std::string absolute)
    : mRoot(std::move(root)), mShown(std::move(absolute)) {}

std::string RootedPath::ShownIn(std::string text) const {
    if (mRoot.empty()) {
        return text;
    }
    const std::string actual = Actual();
    for (std::size_t at = text.find(actual); at != std::string::npos;
         at = text.find(actual, at + mShown.size())) {
        text.erase(at, mRoot.size());
    }
    return text;
}
