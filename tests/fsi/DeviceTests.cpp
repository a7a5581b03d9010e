#include <gmock/gmock.h>

#include <optional>

#include "AdcControlFsi_KX4093.h"
#include "Board.h"
#include "CapturedLog.h"
#include "ClocksFsi_KX4093.h"
#include "DacControlFsi_KX4093.h"
#include "ExternalReferenceFsi.h"
#include "GpioFsi.h"
#include "PowerMonitorFsi.h"
#include "RegisterAccesses.h"

using testing::ElementsAre;
using namespace TalvoBrindlet;

namespace {

/// A board on which any wrong access fails the test.
class Devices : public testing::Test {
  protected:
    ~Devices() override { EXPECT_THAT(mBoard.Violations(), ElementsAre()); }

    sim::Board mBoard{sim::BoardSettings{}};
    CapturedLog mLog;
};

}  // namespace

TEST_F(Devices, WriteTheirWordsInOrder) {
    using Scaler = audio::FrequencyScaler;
    AdcControlFsi_KX4093 adc(mBoard);
    DacControlFsi_KX4093 dac(mBoard);
    audio::ExternalReferenceFsi reference(mBoard);
    mBoard.SetDip(0x2A);
    const auto writes = WritesOf(mBoard, [&] {
        adc.SetGain(7, 0xABCD);
        adc.SetGain(8, 1);  // no such channel
        adc.SetPhantomPower(8, true);
        adc.SetPhantomPower(3, true);
        adc.SetPhantomPower(3, false);
        adc.DisableReset();
        adc.EnableReset();
        for (const unsigned rate : {3U, 0U, 4U}) {  // 88.2 kHz, 48 kHz and none
            adc.SetSampleRate(Scaler::X2, static_cast<SampleRates::SystemSampleRates>(rate));
        }
        dac.SetGain(0x12345);
        dac.EnableReset();
        dac.DisableReset();
        reference.SetExternalPllSource(0);
        EXPECT_EQ(GpioFsi(mBoard).ReadDipSwitches(), 0x2A);
    });
    const std::vector<std::string> expected = {
        "0007 W 0x24 0x00090074", "0007 W 0x20 0x0000abcd", "0007 W 0x24 0x00090038",
        "0007 W 0x20 0x00000002", "0007 W 0x24 0x0009003c", "0007 W 0x20 0x00000002",
        "0007 W 0x24 0x00090008", "0007 W 0x20 0x00000008", "0007 W 0x24 0x0009000c",
        "0007 W 0x20 0x00000008", "0007 W 0x24 0x00090000", "0007 W 0x20 0x00000001",
        "0007 W 0x24 0x00090000", "0007 W 0x20 0x00000000", "0008 W 0x24 0x000a0004",
        "0008 W 0x20 0x00002345", "0008 W 0x24 0x000a0008", "0008 W 0x20 0x00000002",
        "0008 W 0x24 0x000a000c", "0008 W 0x20 0x00000002", "0004 W 0x24 0x00030018",
        "0004 W 0x20 0x00000000", "0009 W 0x24 0x0008000c", "0009 W 0x20 0xffffffff",
        "0009 W 0x24 0x00080000"};
    EXPECT_EQ(writes, expected);
    EXPECT_TRUE(adc.IsInReset() && !dac.IsInReset());
    EXPECT_EQ(mLog.Count("ADC ID out of range\n"), 2U);
    EXPECT_EQ(mLog.Count("SetExternalPllSource 0\r\n"), 1U);
}

TEST_F(Devices, ClocksTakeTheDividersOfTheRateOrThoseOf48k) {
    DacClocksFsi_KX4093 clocks(mBoard);
    EXPECT_EQ(clocks.Id(), 4U) << "from the identity byte";
    EXPECT_EQ(clocks.SinkWords().front(), 4 * 512);
    const auto dividers = [&](unsigned rate) {
        clocks.SetSampleRate(audio::FrequencyScaler::X1, static_cast<SampleRates::SystemSampleRates>(rate));
        std::vector<std::uint32_t> words;
        for (std::uint32_t address = 0x40000; address < 0x40010; address += 4) {
            words.push_back(mBoard.Word("000D", address).value());
        }
        return words;
    };
    EXPECT_THAT(dividers(SampleRates::SR88_2k), ElementsAre(3, 7, 0x1FF, 7));
    EXPECT_THAT(dividers(9), ElementsAre(3, 15, 0x3FF, 15));
    EXPECT_EQ(
        mLog.Count("Sample rate UNKNOWN SAMPLE RATE not found in clock definition, defaulting to 48k.\n"),
        1U);
}

TEST_F(Devices, PowerMonitorClearsEachChangeAndAnnouncesProtectionBeforeTheLine) {
    std::optional<PowerMonitorFsi> power;
    const auto writes = WritesOf(mBoard, [&] { power.emplace(mBoard); });
    EXPECT_THAT(writes,
                ElementsAre("000A W 0x30 0x00000001", "000A W 0x24 0x0008000c", "000A W 0x20 0xffffffff",
                            "000A W 0x34 0x00000002", "000A W 0x24 0x00080008", "000A W 0x20 0x00003000"));
    std::vector<std::string> events;
    power->DcLineFaultChanged().connect(
        [&](bool fault) { events.push_back(fault ? "line fault" : "line ok"); });
    power->DcProtectionFaultChanged().connect(
        [&](bool fault) { events.push_back(fault ? "protection fault" : "protection ok"); });
    mBoard.SetLineFault(true);
    mBoard.SetProtectionFault(true);
    power->HandleInterrupts();
    mBoard.SetProtectionFault(false);
    power->HandleInterrupts();
    power->HandleInterrupts();
    EXPECT_EQ(mBoard.Word("000A", 0x80004), 0U);
    EXPECT_THAT(events, ElementsAre("protection fault", "line fault", "protection ok"));
}
