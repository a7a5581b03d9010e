#include <gmock/gmock.h>

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

TEST_F(Devices, AdcWritesItsChannelsWords) {
    AdcControlFsi_KX4093 adc(mBoard);
    EXPECT_TRUE(adc.IsInReset());
    const auto writes = WritesOf(mBoard, [&] {
        adc.SetGain(7, 0xABCD);
        adc.SetPhantomPower(3, true);
        adc.SetPhantomPower(3, false);
        adc.DisableReset();
        EXPECT_FALSE(adc.IsInReset());
        adc.EnableReset();
        EXPECT_TRUE(adc.IsInReset());
    });
    EXPECT_THAT(writes, ElementsAre("0007 W 0x24 0x00090074", "0007 W 0x20 0x0000abcd",    // gain
                                    "0007 W 0x24 0x00090038", "0007 W 0x20 0x00000002",    // phantom on
                                    "0007 W 0x24 0x0009003c", "0007 W 0x20 0x00000002",    // phantom off
                                    "0007 W 0x24 0x00090008", "0007 W 0x20 0x00000008",    // running
                                    "0007 W 0x24 0x0009000c", "0007 W 0x20 0x00000008"));  // reset
}

TEST_F(Devices, AdcRefusesAChannelThatIsNotThere) {
    AdcControlFsi_KX4093 adc(mBoard);
    const auto writes = WritesOf(mBoard, [&] {
        adc.SetGain(8, 1);
        adc.SetPhantomPower(8, true);
    });
    EXPECT_THAT(writes, ElementsAre());
    EXPECT_THAT(mLog.Lines(), ElementsAre("ADC ID out of range\n", "ADC ID out of range\n"));
}

TEST_F(Devices, AdcFollowsTheSpeedOfTheRate) {
    AdcControlFsi_KX4093 adc(mBoard);
    const struct {
        unsigned mRate;
        std::vector<std::string> mWrites;
    } rows[] = {{SampleRates::SR48k, {"0007 W 0x24 0x00090000", "0007 W 0x20 0x00000000"}},
                {SampleRates::SR96k, {"0007 W 0x24 0x00090000", "0007 W 0x20 0x00000001"}},
                {SampleRates::SR44_1k, {"0007 W 0x24 0x00090000", "0007 W 0x20 0x00000000"}},
                {SampleRates::SR88_2k, {"0007 W 0x24 0x00090000", "0007 W 0x20 0x00000001"}},
                {4, {}}};
    for (const auto& row : rows) {
        EXPECT_EQ(WritesOf(mBoard,
                           [&] {
                               adc.SetSampleRate(audio::FrequencyScaler::X2,
                                                 static_cast<SampleRates::SystemSampleRates>(row.mRate));
                           }),
                  row.mWrites)
            << row.mRate;
    }
}

TEST_F(Devices, DacWritesGainAndReset) {
    DacControlFsi_KX4093 dac(mBoard);
    const auto writes = WritesOf(mBoard, [&] {
        dac.SetGain(0x12345);
        dac.EnableReset();
        EXPECT_TRUE(dac.IsInReset());
        dac.DisableReset();
        EXPECT_FALSE(dac.IsInReset());
    });
    EXPECT_THAT(writes,
                ElementsAre("0008 W 0x24 0x000a0004", "0008 W 0x20 0x00002345", "0008 W 0x24 0x000a0008",
                            "0008 W 0x20 0x00000002", "0008 W 0x24 0x000a000c", "0008 W 0x20 0x00000002"));
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
    EXPECT_THAT(dividers(SampleRates::SR44_1k), ElementsAre(3, 15, 0x3FF, 15));
    EXPECT_THAT(dividers(SampleRates::SR96k), ElementsAre(3, 7, 0x1FF, 7));
    EXPECT_THAT(dividers(9), ElementsAre(3, 15, 0x3FF, 15));
    EXPECT_EQ(
        mLog.Count("Sample rate UNKNOWN SAMPLE RATE not found in clock definition, defaulting to 48k.\n"),
        1U);
}

TEST_F(Devices, GpioClearsItsChangesAndReadsTheSwitches) {
    mBoard.SetDip(0x2A);
    const auto writes = WritesOf(mBoard, [&] { EXPECT_EQ(GpioFsi(mBoard).ReadDipSwitches(), 0x2A); });
    EXPECT_THAT(writes,
                ElementsAre("0009 W 0x24 0x0008000c", "0009 W 0x20 0xffffffff", "0009 W 0x24 0x00080000"));
}

TEST_F(Devices, PowerMonitorAnnouncesProtectionBeforeTheLine) {
    PowerMonitorFsi power(mBoard);
    std::vector<std::string> events;
    power.DcLineFaultChanged().connect(
        [&](bool fault) { events.push_back(fault ? "line fault" : "line ok"); });
    power.DcProtectionFaultChanged().connect(
        [&](bool fault) { events.push_back(fault ? "protection fault" : "protection ok"); });
    mBoard.SetLineFault(true);
    mBoard.SetProtectionFault(true);
    power.HandleInterrupts();
    mBoard.SetProtectionFault(false);
    power.HandleInterrupts();
    power.HandleInterrupts();
    EXPECT_THAT(events, ElementsAre("protection fault", "line fault", "protection ok"));
}

TEST_F(Devices, PowerMonitorClearsAChangeThatNobodyListensTo) {
    const auto starts = WritesOf(mBoard, [&] {
        PowerMonitorFsi power(mBoard);
        mBoard.SetLineFault(true);
        power.HandleInterrupts();
        EXPECT_EQ(mBoard.Word("000A", 0x80004), 0U);
    });
    EXPECT_THAT(std::vector<std::string>(starts.begin(), starts.begin() + 6),
                ElementsAre("000A W 0x30 0x00000001", "000A W 0x24 0x0008000c", "000A W 0x20 0xffffffff",
                            "000A W 0x34 0x00000002", "000A W 0x24 0x00080008", "000A W 0x20 0x00003000"));
}

TEST_F(Devices, PllSourceIsWrittenWhateverItWas) {
    audio::ExternalReferenceFsi reference(mBoard);
    const auto writes = WritesOf(mBoard, [&] { reference.SetExternalPllSource(0); });
    EXPECT_THAT(writes, ElementsAre("0004 W 0x24 0x00030018", "0004 W 0x20 0x00000000"));
    EXPECT_THAT(mLog.Lines(), ElementsAre("SetExternalPllSource 0\r\n"));
}
