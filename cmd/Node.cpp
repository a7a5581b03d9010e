#include "Node.h"

#include <algorithm>
#include <ostream>
#include <utility>

#include "Action.h"

namespace cmd {

namespace {

constexpr char kSlash = '/';

}  // namespace

Node::Node(std::string path) : mPath(std::move(path)) {}

Node::~Node() = default;

void Node::AddAction(const std::shared_ptr<action::Action>& action) {
    AddAction("/", {action});
}

void Node::AddAction(const std::string& path, const std::vector<std::shared_ptr<action::Action>>& actions) {
    if (mName.empty()) {
        TakeNameFrom(path);
    }
    const std::string rest = WithoutName(path);
    if (!rest.empty()) {
        ChildFor(rest)->AddAction(rest, actions);
        return;
    }
    for (const std::shared_ptr<action::Action>& action : actions) {
        mActions[action->Name()] = action;
    }
}

void Node::AddChild(const std::shared_ptr<Node>& node) {
    mChildren.emplace(node->Name(), node);
}

void Node::Clear() {
    mChildren.clear();
    mActions.clear();
}

std::shared_ptr<action::Action> Node::Find(std::string path) const {
    if (path.compare(0, mName.size() + 1, mName + kSlash) != 0) {
        return nullptr;
    }
    const std::string rest = WithoutName(std::move(path));
    if (rest.find(kSlash) == std::string::npos) {
        const auto found = mActions.find(rest);
        return found != mActions.end() ? found->second : nullptr;
    }
    for (const auto& [name, child] : mChildren) {
        if (auto action = child->Find(rest)) {
            return action;
        }
    }
    return nullptr;
}

std::uint32_t Node::Depth() const {
    const auto slashes = std::count(mPath.begin(), mPath.end(), kSlash);
    return static_cast<std::uint32_t>(slashes) + (mPath.empty() ? 0 : 1);
}

void Node::Write(std::ostream& out) const {
    if (mTreeListing != 0) {
        WriteTree(out);
    } else {
        WriteTable(out, ActionColumnWidth());
    }
}

void Node::TakeNameFrom(const std::string& path) {
    mName = path.substr(0, path.find(kSlash));
    mPath += mName + kSlash;
}

/// The slash behind the name goes too; there is none where the name is all of the path.
std::string Node::WithoutName(std::string path) const {
    path.erase(0, mName.size() + 1);
    return path;
}

/// The child that the first component of `path` names, made where there is none yet.
std::shared_ptr<Node> Node::ChildFor(const std::string& path) {
    std::shared_ptr<Node>& child = mChildren[path.substr(0, path.find(kSlash))];
    if (child == nullptr) {
        child = std::make_shared<Node>(mPath);
    }
    return child;
}

std::size_t Node::ActionColumnWidth() const {
    std::size_t width = 0;
    for (const auto& [name, action] : mActions) {
        width = std::max(width, mPath.size() + name.size());
    }
    for (const auto& [name, child] : mChildren) {
        width = std::max(width, child->ActionColumnWidth());
    }
    return width;
}

void Node::WriteTable(std::ostream& out, std::size_t columnWidth) const {
    for (const auto& [name, action] : mActions) {
        std::string row = mPath + name;
        row.resize(columnWidth + 1, ' ');
        out << row << action->Brief() << '\n';
    }
    for (const auto& [name, child] : mChildren) {
        child->WriteTable(out, columnWidth);
    }
}

void Node::WriteTree(std::ostream& out) const {
    const std::string indent(std::size_t{2} * (Depth() + 1), ' ');
    out << indent.substr(2) << mName << "/\n";
    for (const auto& [name, action] : mActions) {
        out << indent << name << '\n';
    }
    for (const auto& [name, child] : mChildren) {
        child->WriteTree(out);
    }
}

}  // namespace cmd
