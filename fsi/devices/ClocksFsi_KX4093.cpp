#include "ClocksFsi_KX4093.h"

namespace TalvoBrindlet {

namespace {

constexpr unsigned kSamples = 16;
constexpr unsigned kIdFromFpga = 0;

InternalClocksFsi::DividerTable Dividers() {
    return {
        {SampleRates::SR44_1k, {0x3, 0xF, 0x3FF, 0xF}},
        {SampleRates::SR48k, {0x3, 0xF, 0x3FF, 0xF}},
        {SampleRates::SR96k, {0x3, 0x7, 0x1FF, 0x7}},
        {SampleRates::SR88_2k, {0x3, 0x7, 0x1FF, 0x7}},
    };
}

}  // namespace

AdcClocksFsi_KX4093::AdcClocksFsi_KX4093(fsi::IFsiBus& bus)
    : AdcClocksFsi(bus, "000C", Dividers(), kSamples, Direction::Source, kIdFromFpga) {}

DacClocksFsi_KX4093::DacClocksFsi_KX4093(fsi::IFsiBus& bus)
    : DacClocksFsi(bus, "000D", Dividers(), kSamples, Direction::Sink, kIdFromFpga) {}

}  // namespace TalvoBrindlet
