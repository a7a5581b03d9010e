#pragma once

#include <cstdint>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace cmd {

namespace action {
class Action;
}

/// One level of the shell's commands: named actions, and further nodes below it. A typed command such as
/// `power/dc_volts` is the path of an action. Built at start-up, before the event loop runs; read on the
/// event loop from then on, without a lock.
class Node {
  public:
    /// `path` leads to the parent, each component followed by "/". A node without a name takes it from the
    /// first path that it is given.
    explicit Node(std::string path);
    virtual ~Node();
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    /// Adds an action to this node; a former one of the same name goes.
    void AddAction(const std::shared_ptr<action::Action>& action);

    /// Adds actions to the node that `path` leads to, whose first component is this node's own name. Missing
    /// nodes on the way are made.
    void AddAction(const std::string& path, const std::vector<std::shared_ptr<action::Action>>& actions);

    /// Adds a node below this one under its name; where there is one of that name already, nothing happens.
    void AddChild(const std::shared_ptr<Node>& node);

    /// Takes all actions and children away, and with them what they refer to.
    void Clear();

    /// The action at `path`, whose first component is this node's own name; null when there is none.
    std::shared_ptr<action::Action> Find(std::string path) const;

    /// Selects the indented listing, which shows names alone, in place of the table with descriptions.
    void SetTreeListing(bool treeListing) { mTreeListing = treeListing ? 1 : 0; }

    const std::string& Name() const { return mName; }
    const std::string& Path() const { return mPath; }
    std::uint32_t Depth() const;

    /// The listing of this node and of all below it.
    void Write(std::ostream& out) const;

  protected:
    void SetName(const std::string& name) { mName = name; }

  private:
    void TakeNameFrom(const std::string& path);
    std::string WithoutName(std::string path) const;
    std::shared_ptr<Node> ChildFor(const std::string& path);
    std::size_t ActionColumnWidth() const;
    void WriteTable(std::ostream& out, std::size_t columnWidth) const;
    void WriteTree(std::ostream& out) const;

    std::string mName;
    std::map<std::string, std::shared_ptr<Node>> mChildren;
    std::string mPath;
    std::map<std::string, std::shared_ptr<action::Action>> mActions;
    std::uint32_t mTreeListing = 0;
};

/// Writes the listing of the node. A template, for a plain function would lose to the one that prints
/// pointers.
template <typename Kind, typename = std::enable_if_t<std::is_base_of_v<Node, Kind>>>
std::ostream& operator<<(std::ostream& out, const std::shared_ptr<Kind>& node) {
    node->Write(out);
    return out;
}

}  // namespace cmd
