#pragma once

#include <memory>

#include "Node.h"

namespace TalvoBrindlet {

class BrindletManager;

/// The shell's `power` commands: the state of the supplies, and forcing it. Event loop only.
class CliNodePower : public cmd::Node {
  public:
    explicit CliNodePower(std::shared_ptr<BrindletManager> manager);

  private:
    void AddReports();
    void AddMonitoring();
    void AddFaults();

    std::shared_ptr<BrindletManager> mManager;
};

}  // namespace TalvoBrindlet
