#pragma once

#include "OutputPort.h"

namespace TalvoBrindlet {

/// An output of the KX4093, with six gains. The converters have one gain register for all eight outputs: the
/// last one set counts for all, while each port reports what it was last told.
class OutputPort_KX4093 : public OutputPort {
  public:
    using OutputPort::OutputPort;

    bool SetGain(std::int32_t gain) override;
};

}  // namespace TalvoBrindlet
