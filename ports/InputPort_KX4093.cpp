#include "InputPort_KX4093.h"

#include <boost/system/error_code.hpp>
#include <chrono>
#include <string>
#include <utility>

#include "AdcControlFsiInterface.h"
#include "Audit.h"

namespace TalvoBrindlet {

namespace {

constexpr std::uint32_t kRestingGain = 0x100000;  // 0 cB in both parts
constexpr std::chrono::milliseconds kStageTime{10};

/// The codes of a pair of gains, for the log.
struct Codes {
    Codes(const InputPort& port, std::int32_t analogue, std::int32_t digital, std::uint32_t combined)
        : mAnalogue(port.EncodeAnalogueGain(analogue)),
          mDigital(InputPort::EncodeDigitalGain(digital, InputPort::kDigitalGainFractionBits)),
          mCombined(combined) {}

    unsigned long mAnalogue;
    unsigned long mDigital;
    unsigned long mCombined;
};

}  // namespace

InputPort_KX4093::InputPort_KX4093(std::shared_ptr<AdcControlFsiInterface> adc, std::int16_t portId,
                                   std::int16_t channel, boost::asio::io_context& io)
    : InputPort(std::move(adc), portId, channel, io) {
    mAdc->SetGain(static_cast<unsigned>(channel), kRestingGain);
}

bool InputPort_KX4093::SetCoarseGain(std::int16_t gain, std::int16_t level, std::int16_t headroom) {
    if (mGainChangePending) {
        AUDIT(Feature::Fault,
              "Brindlet: ERROR call to set coarse gain for port %d before another operation has completed \n",
              int{Channel()});
        return false;
    }
    const Split split = SplitGain(gain, level, headroom);
    AUDIT(Feature::TalvoIoBox,
          "Brindlet: SetCoarseGain for port %d. Gain = %d, Op Lvl=%d, Mic Hdrm=%d, AGain=%d, DGain=%d \n",
          int{Channel()}, int{gain}, int{level}, int{headroom}, int{split.mAnalogue}, int{split.mDigital});
    if (split.mAnalogue == mAnalogueGain) {
        SetInOneStep(split);
    } else {
        StartTwoSteps(split);
    }
    return true;
}

void InputPort_KX4093::SetInOneStep(const Split& split) {
    mDigitalGain = split.mDigital;
    const std::uint32_t combined = CombinedGain(mAnalogueGain, mDigitalGain);
    mAdc->SetGain(static_cast<unsigned>(Channel()), combined);
    const Codes codes(*this, mAnalogueGain, mDigitalGain, combined);
    AUDIT(
        Feature::TalvoIoBoxVerbose,
        "Brindlet: one step input gain change complete. Gain -  Analogue %ld cB, Digital %ld cB for port %d "
        "( Enc AGain 0x%lx, Enc DGain 0x%lx, Combined 0x%lx ) \n",
        long{mAnalogueGain}, long{mDigitalGain}, int{Channel()}, codes.mAnalogue, codes.mDigital,
        codes.mCombined);
}

/// The first stage: the old step stays, with the trim at 0 cB.
void InputPort_KX4093::StartTwoSteps(const Split& split) {
    mGainChangePending = true;
    const std::uint32_t combined = CombinedGain(mAnalogueGain, 0);
    mAdc->SetGain(static_cast<unsigned>(Channel()), combined);
    mGainTimer.expires_after(kStageTime);
    mGainTimer.async_wait([weak = weak_from_this(), split](const boost::system::error_code& error) {
        if (const auto self = std::static_pointer_cast<InputPort_KX4093>(weak.lock())) {
            self->SecondStage(error, split);
        }
    });
    const Codes codes(*this, mAnalogueGain, 0, combined);
    AUDIT(
        Feature::TalvoIoBoxVerbose,
        "Brindlet: first stage of gain change complete. Gain -  Analogue %ld cB, Digital %d cB for port %d ( "
        "Enc AGain 0x%lx, Enc DGain 0x%lx, Combined 0x%lx ) \n",
        long{mAnalogueGain}, 0, int{Channel()}, codes.mAnalogue, codes.mDigital, codes.mCombined);
}

void InputPort_KX4093::SecondStage(const boost::system::error_code& error, const Split& split) {
    if (error) {
        // The port stays as it is, and refuses further changes: what the converter has isn't known.
        const std::string details =
            std::string(error.category().name()) + ":" + std::to_string(error.value());
        AUDIT(Feature::Fault,
              "Brindlet: ERROR - failed to set Analogue Gain %d, Digital Gain %d for port %d. Details: %s \n",
              int{Channel()}, int{split.mAnalogue}, int{split.mDigital}, details.c_str());
        return;
    }
    const std::uint32_t combined = CombinedGain(split.mAnalogue, split.mDigital);
    mAdc->SetGain(static_cast<unsigned>(Channel()), combined);
    mGainChangePending = false;
    const Codes codes(*this, split.mAnalogue, split.mDigital, combined);
    AUDIT(Feature::TalvoIoBox,
          "Brindlet: second stage of delayed gain change complete. Gain -  Analogue %d cB, Digital %d cB for "
          "port %d ( Enc AGain 0x%lx, Enc DGain 0x%lx, Combined 0x%lx ) \n",
          int{split.mAnalogue}, int{split.mDigital}, int{Channel()}, codes.mAnalogue, codes.mDigital,
          codes.mCombined);
    mAnalogueGain = split.mAnalogue;
    mDigitalGain = split.mDigital;
}

bool InputPort_KX4093::SetPhantomPower(bool on) {
    AUDIT(Feature::TalvoIoBox, "Brindlet: KX4093 input port setting phantom power for port %d to %s\n",
          int{PortId()}, on ? "on" : "off");
    mPhantomPower = on;
    mAdc->SetPhantomPower(static_cast<unsigned>(Channel()), on);
    return true;
}

std::int16_t InputPort_KX4093::SelectAnalogueGain(std::int16_t gain, std::int16_t base0, std::int16_t base1,
                                                  std::int16_t /*offset*/, std::int16_t base2) const {
    const struct {
        int mThreshold;
        std::int16_t mStep;
    } rows[] = {
        {base0 + 64, 0},    {base1 + 129, 65},  {base1 + 194, 130}, {base2 + 259, 195},
        {base2 + 324, 260}, {base2 + 389, 325}, {base2 + 454, 390}, {base2 + 519, 455},
    };
    for (const auto& row : rows) {
        if (gain <= row.mThreshold) {
            return row.mStep;
        }
    }
    return 520;
}

const InputPort::GainTable& InputPort_KX4093::AnalogueGainTable() const {
    static const GainTable kTable{{0, 0x00},   {65, 0x01},  {130, 0x03}, {195, 0x07}, {260, 0x0F},
                                  {325, 0x1F}, {390, 0x3F}, {455, 0x7F}, {520, 0xFF}};
    return kTable;
}

}  // namespace TalvoBrindlet
