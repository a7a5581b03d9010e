#pragma once

#include <cstdint>

#include "RegisterBlock.h"

namespace sim {

/// A node with input lines: each that changes sets its change flag and, where its change is enabled, raises
/// interrupt 0. Owned by the board and used under its lock.
class GpioBlock : public RegisterBlock {
  public:
    using RegisterBlock::RegisterBlock;

    /// The lines of `mask` take the levels in `levels`.
    void SetInputs(std::uint32_t mask, std::uint32_t levels);

    std::uint32_t Inputs() const { return Word(kInputsAddress).value(); }
};

}  // namespace sim
