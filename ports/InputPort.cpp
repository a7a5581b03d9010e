#include "InputPort.h"

#include <cmath>
#include <limits>
#include <utility>

#include "AdcControlFsiInterface.h"
#include "Audit.h"

namespace TalvoBrindlet {

namespace {

constexpr int kReferenceLevel = 280;  // cB
constexpr unsigned kDigitalShift = 8;

std::int16_t Wrap(int value) {
    return static_cast<std::int16_t>(value);
}

}  // namespace

InputPort::InputPort(std::shared_ptr<AdcControlFsiInterface> adc, std::int16_t portId, std::int16_t channel,
                     boost::asio::io_context& io)
    : IoPort(portId, channel), mAdc(std::move(adc)), mGainTimer(io) {}

bool InputPort::SetCoarseGain(std::int16_t /*gain*/, std::int16_t /*level*/, std::int16_t /*headroom*/) {
    return false;
}

bool InputPort::SetPhantomPower(bool /*on*/) {
    return false;
}

InputPort::Split InputPort::SplitGain(std::int16_t gain, std::int16_t level, std::int16_t headroom) const {
    // A level of exactly 150 has thresholds of its own; the trim follows the level all the same.
    constexpr int kLowLevel = 200;
    constexpr int kSpecialLevel = 150;
    constexpr int kSpecialReference = 230;
    std::int16_t offset = 0;
    if (level < headroom) {
        offset = Wrap(headroom - (level < kLowLevel ? kLowLevel : level));
    }
    std::int16_t base0 = Wrap(headroom - kReferenceLevel);
    std::int16_t base1 = base0;
    std::int16_t base2 = base0;
    if (level == kSpecialLevel) {
        base0 = Wrap(level - kReferenceLevel);
        base1 = Wrap(level - kSpecialReference);
        base2 = Wrap(level - kSpecialReference + offset);
    }
    const std::int16_t analogue = SelectAnalogueGain(gain, base0, base1, offset, base2);
    return {analogue, Wrap(gain + kReferenceLevel - level - analogue)};
}

std::uint8_t InputPort::EncodeAnalogueGain(std::int32_t analogue) const {
    const GainTable& table = AnalogueGainTable();
    const auto row = table.find(analogue);
    if (row == table.end()) {
        AUDIT(Feature::Assert,
              "ERROR in InputPort::EncodeAnalogueGain, analogue gain value %d cB not a supported value of "
              "range\n",
              analogue);
        return 0;
    }
    return row->second;
}

std::uint32_t InputPort::EncodeDigitalGain(std::int32_t gain, unsigned bits) {
    constexpr unsigned kFullBits = 16;
    constexpr double kUnity = 65536;
    constexpr double kCentibelsPerDecade = 200;
    const double value = 0.5 + kUnity * std::pow(10.0, gain / kCentibelsPerDecade);
    constexpr auto kMost = std::numeric_limits<std::uint32_t>::max();
    const std::uint32_t code = value < kMost ? static_cast<std::uint32_t>(value) : kMost;
    return bits < kFullBits ? code >> (kFullBits - bits) : code;
}

std::uint32_t InputPort::CombinedGain(std::int32_t analogue, std::int32_t digital) const {
    return EncodeAnalogueGain(analogue) | EncodeDigitalGain(digital, kDigitalGainFractionBits)
                                              << kDigitalShift;
}

}  // namespace TalvoBrindlet
