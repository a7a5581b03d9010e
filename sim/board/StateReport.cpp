#include "StateReport.h"

#include "BoardBits.h"
#include "JsonWriter.h"

namespace sim {
namespace {

std::uint32_t AdcWord(const RegisterBlock& adc, std::uint32_t channel, std::uint32_t word) {
    return adc.Word(kAdcChannelsAddress + channel * kAdcChannelSpacing + word).value();
}

void WriteAdc(JsonWriter& json, const RegisterBlock& adc) {
    json.Key("adc").BeginObject().Key("gain").BeginArray();
    for (std::uint32_t channel = 0; channel < kAdcChannels; ++channel) {
        json.Number(AdcWord(adc, channel, kConverterGain));
    }
    json.EndArray().Key("phantom").BeginArray();
    for (std::uint32_t channel = 0; channel < kAdcChannels; ++channel) {
        json.Flag((AdcWord(adc, channel, kConverterState) & kPhantomBit) != 0);
    }
    json.EndArray()
        .Flag("double_speed", adc.Word(kRateSelectAddress) == 1U)
        .Flag("reset", (AdcWord(adc, 0, kConverterState) & kAdcRunsBit) == 0)
        .EndObject();
}

void WriteDac(JsonWriter& json, const RegisterBlock& dac) {
    json.Key("dac")
        .BeginObject()
        .Number("gain_code", dac.Word(kDacAddress + kConverterGain).value())
        .Flag("reset", (dac.Word(kDacAddress + kConverterState).value() & kDacResetBit) != 0)
        .EndObject();
}

void WriteClocks(JsonWriter& json, const char* key, const RegisterBlock& clocks) {
    json.Key(key)
        .BeginObject()
        .Number("id", clocks.IdentityByte())
        .Number("master", clocks.Word(kDividersAddress).value())
        .Number("bit", clocks.Word(kDividersAddress + 0x4).value())
        .Number("word", clocks.Word(kDividersAddress + 0x8).value())
        .Number("spare", clocks.Word(kDividersAddress + 0xC).value())
        .EndObject();
}

void WriteAdma(JsonWriter& json, const AdmaBlock& adma) {
    json.Key("adma")
        .BeginObject()
        .Flag("syncing", adma.IsSyncing())
        .Number("syncs", adma.CompletedSyncs())
        .Flag("mute", (adma.Control() & kMuteControl) != 0)
        .Flag("mute_on_pll_loss", (adma.Control() & kNoMuteOnPllLossControl) == 0)
        .EndObject();
}

void WriteClock(JsonWriter& json, const ReferenceBlock& reference) {
    json.Key("clock")
        .BeginObject()
        .Number("pll_source", reference.Word(kPllSourceAddress).value())
        .Flag("pll_locked", reference.IsPllLocked())
        .Flag("phase_freeze", (reference.Control() & kPhaseFreezeControl) != 0)
        .Key("range")
        .BeginArray()
        .Number(reference.Word(kRangeLowAddress).value())
        .Number(reference.Word(kRangeHighAddress).value())
        .EndArray()
        .EndObject();
}

void WriteLed(JsonWriter& json, const char* key, const RegisterBlock& block) {
    json.Key(key)
        .BeginObject()
        .Flag("on", block.Word(kLedAddress).value() != 0)
        .Number("pattern", block.Word(kLedAddress + 0x4).value())
        .EndObject();
}

void WritePsu(JsonWriter& json, const GpioBlock& power) {
    json.Key("psu")
        .BeginObject()
        .Number("reading", power.Inputs() & kReadingMask)
        .Flag("line_fault", (power.Inputs() & kLineFaultInput) != 0)
        .Flag("protection_fault", (power.Inputs() & kProtectionOkInput) == 0)
        .Number("change_enable", power.Word(kChangeEnableAddress).value())
        .EndObject();
}

void WriteInterruptEnables(JsonWriter& json, const StateSources& sources) {
    const RegisterBlock* const blocks[] = {&sources.mAdma, &sources.mReference, &sources.mDac,
                                           &sources.mPower};
    json.Key("interrupt_enable").BeginObject();
    for (const RegisterBlock* block : blocks) {
        json.Number(block->Identity().c_str(), block->Enabled());
    }
    json.EndObject();
}

void WriteLinks(JsonWriter& json, const LinkDriver::States& links) {
    json.Key("links").BeginArray();
    for (const LinkState& link : links) {
        json.BeginObject()
            .Flag("up", link.mUp)
            .Number("hid", link.mHid)
            .Number("port", link.mPort)
            .Number("fsi", link.mFsi)
            .Number("adma", link.mAdma)
            .EndObject();
    }
    json.EndArray();
}

}  // namespace

std::string StateReport(const StateSources& sources) {
    JsonWriter json;
    json.BeginObject();
    json.Number("dip", (sources.mGpio.Inputs() & kDipInputs) >> kDipShift);
    json.Number("firmware", sources.mFirmware.Build());
    WriteAdc(json, sources.mAdc);
    WriteDac(json, sources.mDac);
    WriteClocks(json, "adc_clocks", sources.mAdcClocks);
    WriteClocks(json, "dac_clocks", sources.mDacClocks);
    WriteAdma(json, sources.mAdma);
    WriteClock(json, sources.mReference);
    json.Key("leds").BeginObject();
    WriteLed(json, "ok", sources.mGpio);
    WriteLed(json, "dc", sources.mPower);
    json.EndObject();
    WritePsu(json, sources.mPower);
    WriteInterruptEnables(json, sources);
    WriteLinks(json, sources.mLinks);
    return json.EndObject().Text();
}

}  // namespace sim
