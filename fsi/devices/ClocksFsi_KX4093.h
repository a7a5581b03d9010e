#pragma once

#include "InternalClocksFsi.h"

namespace TalvoBrindlet {

/// The input converters' clocks of the KX4093: a source of 16 samples.
class AdcClocksFsi_KX4093 : public AdcClocksFsi {
  public:
    explicit AdcClocksFsi_KX4093(fsi::IFsiBus& bus);
};

/// The output converters' clocks of the KX4093: a sink of 16 samples.
class DacClocksFsi_KX4093 : public DacClocksFsi {
  public:
    explicit DacClocksFsi_KX4093(fsi::IFsiBus& bus);
};

}  // namespace TalvoBrindlet
