#include "DcSupply.h"

#include <array>

namespace TalvoBrindlet {

namespace {

// Tenths of a volt.
constexpr std::uint32_t kOverAbove = 300;
constexpr std::uint32_t kUnderFrom = 99;
constexpr std::uint32_t kBackFromUnderAbove = 104;
constexpr std::uint32_t kBackFromOverBelow = 296;

DcSupplyReading JudgeAbsence(const DcSupply& before) {
    const char* const change =
        before.mState != DcSupplyState::NotConnected
            ? "Brindlet: Ext DC voltage change InRange -> Not Connected. (DC supply is lost\n"
            : nullptr;
    return {{DcSupplyState::NotConnected, false, true}, change};
}

DcSupplyReading JudgeOutOfRange(const DcSupply& before, DcSupplyState state, const char* change) {
    if (!before.mIsInRange) {
        return {{before.mState, true, false}};
    }
    return {{state, true, false}, change};
}

DcSupplyReading JudgeWithinRange(const DcSupply& before, std::uint32_t tenthsOfVolt) {
    const DcSupply back{DcSupplyState::InRange, true, true};
    switch (before.mState) {
        case DcSupplyState::InRange:
            return {{before.mState, true, before.mIsInRange},
                    "Brindlet: Ext DC voltage still InRange. Nothing to update\n",
                    true};
        case DcSupplyState::UnderVolts:
            if (tenthsOfVolt > kBackFromUnderAbove) {
                return {back,
                        "Brindlet: Ext DC voltage change UnderVolts -> InRange ( i.e. Volts = Min Op Volts + "
                        "hysteresis)\n"};
            }
            break;
        case DcSupplyState::OverVolts:
            if (tenthsOfVolt < kBackFromOverBelow) {
                return {back,
                        "Brindlet: Ext DC voltage change OverVolts -> InRange ( i.e. Volts = Max Op Volts - "
                        "hysteresis)\n"};
            }
            break;
        case DcSupplyState::NotConnected:
            return {back, "Brindlet: Ext DC voltage change NotConnected -> InRange\n"};
    }
    return {{before.mState, true, before.mIsInRange}};
}

}  // namespace

const char* Text(DcSupplyState state) {
    constexpr std::array<const char*, 4> kTexts{{"Not connected", "Under Volts", "In Range", "Over Volts"}};
    const auto index = static_cast<std::size_t>(state);
    return index < kTexts.size() ? kTexts[index] : "unknown";
}

DcSupplyReading JudgeDcSupply(const DcSupply& before, std::uint32_t tenthsOfVolt) {
    if (tenthsOfVolt == 0) {
        return JudgeAbsence(before);
    }
    if (tenthsOfVolt > kOverAbove) {
        return JudgeOutOfRange(before, DcSupplyState::OverVolts,
                               "Brindlet: Ext DC voltage change InRange -> OverVolts\n");
    }
    if (tenthsOfVolt <= kUnderFrom) {
        return JudgeOutOfRange(before, DcSupplyState::UnderVolts,
                               "Brindlet: Ext DC voltage change InRange -> UnderVolts\n");
    }
    return JudgeWithinRange(before, tenthsOfVolt);
}

}  // namespace TalvoBrindlet
