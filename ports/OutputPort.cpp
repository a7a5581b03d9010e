#include "OutputPort.h"

#include <iostream>
#include <utility>

namespace TalvoBrindlet {

OutputPort::OutputPort(std::shared_ptr<DacControlFsiInterface> dac, std::int16_t portId, std::int16_t channel)
    : IoPort(portId, channel), mDac(std::move(dac)) {}

bool OutputPort::SetGain(std::int32_t /*gain*/) {
    std::cout << "Base class function called for output port " << PortId() << std::endl;
    return false;
}

bool OutputPort::SetMute(bool muted) {
    mMuted = muted;
    return false;
}

}  // namespace TalvoBrindlet
