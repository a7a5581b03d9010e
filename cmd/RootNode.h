#pragma once

#include "Node.h"

namespace cmd::NodeManager {

/// The root of the shell's command tree. Its path is empty, so that the commands on it are typed by their
/// name alone.
class RootNode : public Node {
  public:
    RootNode() : Node("") { SetName("/"); }
};

}  // namespace cmd::NodeManager
