#include "RegisterMaps.h"

namespace sim {
namespace {

constexpr std::uint32_t kDefaultRangeHigh = 4096;

constexpr WordDeclaration kTransactionTable[] = {
    {0x00, kTableWords, WordAccess::Write, 0x00, 0, "transaction table"},
};

constexpr WordDeclaration kClockSources[] = {
    {0x00, 1, WordAccess::Read, 0x00, 0, "measurement"},
    {0x10, 1, WordAccess::Write, 0x10, 0, "measurement range, first value"},
    {0x14, 1, WordAccess::Write, 0x14, kDefaultRangeHigh, "measurement range, second value"},
    {0x18, 1, WordAccess::Write, 0x18, 0, "PLL source"},
};

constexpr WordDeclaration kClockDividers[] = {
    {0x0, 1, WordAccess::ReadWrite, 0x0, 0, "master divider"},
    {0x4, 1, WordAccess::ReadWrite, 0x4, 0, "bit divider"},
    {0x8, 1, WordAccess::ReadWrite, 0x8, 0, "word divider"},
    {0xC, 1, WordAccess::ReadWrite, 0xC, 0, "spare divider"},
};

constexpr WordDeclaration kLed[] = {
    {0x0, 1, WordAccess::ReadWrite, 0x0, 0, "LED on"},
    {0x4, 1, WordAccess::ReadWrite, 0x4, 0, "LED pattern"},
};

constexpr WordDeclaration kGpioInputs[] = {
    {0x0, 1, WordAccess::Read, 0x0, 0, "inputs"},
    {0x4, 1, WordAccess::Read, 0x4, 0, "change flags"},
    {0x8, 1, WordAccess::SetBits, 0x8, 0, "change enable"},
    {0xC, 1, WordAccess::ClearBits, 0x4, 0, "clear change flags"},
};

constexpr WordDeclaration kAdcRateSelect[] = {
    {0x0, 1, WordAccess::Write, 0x0, 0, "rate select"},
};

constexpr WordDeclaration kAdcChannel[] = {
    {0x4, 1, WordAccess::Write, 0x4, 0, "ADC gain"},
    {0x8, 1, WordAccess::SetBits, 0x8, 0, "ADC set bits"},
    {0xC, 1, WordAccess::ClearBits, 0x8, 0, "ADC clear bits"},
};

constexpr WordDeclaration kDac[] = {
    {0x4, 1, WordAccess::Write, 0x4, 0, "DAC gain code"},
    {0x8, 1, WordAccess::SetBits, 0x8, 0, "DAC set bits"},
    {0xC, 1, WordAccess::ClearBits, 0x8, 0, "DAC clear bits"},
};

template <std::size_t Size>
constexpr MapPlacement At(std::uint32_t base, const WordDeclaration (&map)[Size]) {
    return {base, map, Size};
}

constexpr MapPlacement AdcChannelAt(std::uint32_t channel) {
    return At(kAdcChannelsAddress + channel * kAdcChannelSpacing, kAdcChannel);
}

struct PlacedMap {
    std::string_view mIdentity;
    MapPlacement mPlacement;
};

constexpr PlacedMap kPlacedMaps[] = {
    {"0003", At(kTableAddress, kTransactionTable)},
    {"0004", At(kMeasurementAddress, kClockSources)},
    {"0007", At(kRateSelectAddress, kAdcRateSelect)},
    {"0007", AdcChannelAt(0)},
    {"0007", AdcChannelAt(1)},
    {"0007", AdcChannelAt(2)},
    {"0007", AdcChannelAt(3)},
    {"0007", AdcChannelAt(4)},
    {"0007", AdcChannelAt(5)},
    {"0007", AdcChannelAt(6)},
    {"0007", AdcChannelAt(7)},
    {"0008", At(kInputsAddress, kGpioInputs)},
    {"0008", At(kDacAddress, kDac)},
    {"0009", At(kLedAddress, kLed)},
    {"0009", At(kInputsAddress, kGpioInputs)},
    {"000A", At(kLedAddress, kLed)},
    {"000A", At(kInputsAddress, kGpioInputs)},
    {"000C", At(kDividersAddress, kClockDividers)},
    {"000D", At(kDividersAddress, kClockDividers)},
};

}  // namespace

std::vector<MapPlacement> MapsOf(std::string_view identity) {
    std::vector<MapPlacement> maps;
    for (const PlacedMap& placed : kPlacedMaps) {
        if (placed.mIdentity == identity) {
            maps.push_back(placed.mPlacement);
        }
    }
    return maps;
}

}  // namespace sim
