#include "GpioBlock.h"

namespace sim {

void GpioBlock::SetInputs(std::uint32_t mask, std::uint32_t levels) {
    const std::uint32_t changed = (Inputs() ^ levels) & mask;
    SetWord(kInputsAddress, Inputs() ^ changed);
    SetWord(kChangeFlagsAddress, Word(kChangeFlagsAddress).value() | changed);
    if ((Word(kChangeEnableAddress).value() & changed) != 0) {
        Raise(0);
    }
}

}  // namespace sim
