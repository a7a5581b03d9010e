#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "RegisterBlock.h"

namespace sim {

/// The node that tells the firmware's build: its word stands where others have their interrupt status, so it
/// has no interrupts. Owned by the board and used under its lock.
class FirmwareBlock : public RegisterBlock {
  public:
    FirmwareBlock(std::string identity, std::uint32_t build, ViolationLog& violations)
        : RegisterBlock(std::move(identity), 0, violations), mBuild(build) {}

    std::uint32_t Build() const { return mBuild; }

    bool HasInterrupts() const override { return false; }

  protected:
    std::uint32_t InterruptStatus() const override { return mBuild; }

  private:
    const std::uint32_t mBuild;
};

}  // namespace sim
