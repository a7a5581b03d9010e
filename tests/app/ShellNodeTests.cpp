#include <gmock/gmock.h>

#include <algorithm>

#include "Action.h"
#include "CliNodePower.h"
#include "CliT2PortConfigNode.h"
#include "ControllerFixture.h"
#include "ExtRefNode.h"
#include "ExternalClockManager.h"
#include "RootCommands.h"
#include "RootNode.h"
#include "Tokeniser.h"

namespace {

/// The shell's commands on a controller, without the network between.
class ShellNodes : public Controller {
  protected:
    void SetUp() override {
        Start();
        mRoot.AddChild(std::make_shared<TalvoBrindlet::CliNodePower>(mManager));
        mRoot.AddChild(std::make_shared<TalvoBrindlet::CliT2PortConfigNode>(mManager));
        mRoot.AddChild(std::make_shared<cmd::ExtRefNode>(mManager->ClockManager(), &mManager->Devices()));
        RegisterRootCommands(mRoot, *mManager, "box", mManager->GetHid());
    }

    std::string Ask(const std::string& line) {
        auto words = cmd::Tokenise(line);
        const auto action = mRoot.Find("//" + words.front());
        words.erase(words.begin());
        return action != nullptr ? action->Invoke(words, nullptr) : "no such command";
    }

    void Expect(const std::vector<std::pair<const char*, const char*>>& rows) {
        for (const auto& [line, reply] : rows) {
            EXPECT_EQ(Ask(line), reply) << line;
        }
    }

    void Settle() {
        EXPECT_TRUE(RunUntil(mIo, [this] { return mBoard.Activity().mBusyWith.empty(); }));
        mIo.poll();
    }

    /// What the command writes to the clock unit, the LED apart, which has a life of its own.
    std::vector<std::string> ClockWritesOf(const std::string& line) {
        auto writes = WritesOf(mBoard, [&] {
            Ask(line);
            Settle();
        });
        const auto isOther = [](const std::string& write) {
            return write.rfind("0004", 0) != 0;
        };
        writes.erase(std::remove_if(writes.begin(), writes.end(), isOther), writes.end());
        return writes;
    }

    cmd::NodeManager::RootNode mRoot;
};

}  // namespace

TEST_F(ShellNodes, ShowAndForceThePowerState) {
    Expect({{"power/line_flt", "DC Line fault:            inactive"},
            {"power/dc_volts", "DC Supply voltage 24.0 Volts"},
            {"power/dc_ok_flt", "Ext DC Supply OK fault:   inactive"},
            {"power/dc_prot_flt", "DC supply protection fault status: inactive (DC Supply OK)"},
            {"power/dc_op_flt", "Ext DC Supply Op range:   inactive (in range)"},
            {"power/set_dc_supply_flt 1", "DC supply fault is on"},
            {"power/line_flt", "DC Line fault:            active"},
            {"power/set_dc_ok_flt true", "DC supply fault is on"},
            {"power/dc_ok_flt", "Ext DC Supply OK fault:   active"},
            {"power/set_dc_prot_flt 1", "Set DC supply protection fault to active"},
            {"power/dc_prot_flt",
             "DC supply protection fault status: active ( over-volts/over-current, shutdown likely )"},
            {"power/set_dc_op_flt 1", "Set the DC supply operating range fault"},
            {"power/dc_op_flt", "Ext DC Supply Op range:   active (out of range)"}});
    EXPECT_EQ(mManager->GetIoBoxStatus(), 0xFFFFE1FFU);
    Expect({{"power/set_dc_supply_flt 0", "DC supply fault is off"},
            {"power/set_dc_ok_flt 0", "DC supply fault is off"},
            {"power/set_dc_prot_flt 0", "Set DC supply protection fault status to inactive"},
            {"power/set_dc_op_flt 0", "Clear DC supply operating range fault"},
            {"power/set_dc_mon 0", "DC supply monitoring disabled"},
            {"power/set_dc_mon 1", "DC supply monitoring enabled"},
            {"power/set_dc_dbg 1", "DC supply monitoring debug enabled"},
            {"power/set_dc_dbg 0", "DC supply monitoring debug disabled"},
            {"power/set_dc_mon off", "error: arg 0: cannot convert 'off' to type 'bool'"}});
    EXPECT_EQ(mManager->GetIoBoxStatus(), 0xFFFFFFFFU);
}

TEST_F(ShellNodes, OrderForThePortsWhatARouterCould) {
    mManager->FakeActiveLink("t1");
    Settle();
    Expect({{"t2cfg/set_oplvl 100", "Set Operating Level to 100 cB"},
            {"t2cfg/set_michdr -20", "Set Mic Headroom to -20 cB"},
            {"t2cfg/set_ingain 8 0", "Enter a port ID between 0 and 7, followed by a gain in cB"},
            {"t2cfg/set_ingain 3 -40",
             "Set gain for port3 to -40cB [Operating Level = 100 cB, mic headroom = -20 cB ]"},
            {"t2cfg/set_pp 8 1", "Enter a port ID between 0 and 7"},
            {"t2cfg/set_pp 2 1", "Phantom power for port 2 set to 1"},
            {"t2cfg/set_outgain 0 -50", "Unknown setting! Use: 0, -40, -60, -80, -100, -130 cB"},
            {"t2cfg/set_outgain 1 -130", "Set gain for output port 1 to -130 cB"},
            {"t2cfg/outgain 1", "Gain for output port 1 is -130"},
            {"t2cfg/outgain 99", "Gain for output port 99 is 0"},
            {"t2cfg/set_outgain 9 0", "Set gain for output port 9 to 0 cB"},
            {"t2cfg/set_ptmt 8 1", "Enter a port ID between 0 and 7"},
            {"t2cfg/set_ptmt 4 1", "Port 4 muted"},
            {"t2cfg/set_ptmt 5 0", "Port 5 un-muted"},
            {"t2cfg/set_bmp 8 0", "Port Id error - enter a value between 0 & 7"},
            {"t2cfg/set_bmp 0 2", "Route error - enter either 0 (Pri) or 1 (Sec)"},
            {"t2cfg/set_bmp 0 1", "Set T2 source for output port 0 to T2 Sec link"},
            {"t2cfg/set_bmp -1 0", "Set T2 source for output port -1 to T2 Pri link"},
            {"t2cfg/set_bmp 0 256", "error: arg 1: cannot convert '256' to type 'unsigned char'"},
            {"t2cfg/glbmute", "Global mute is disabled"},
            {"t2cfg/set_glbmute 1", "Global mute is enabled"},
            {"t2cfg/glbmute", "Global mute is disabled"}});
    EXPECT_EQ(mLog.Count("Brindlet: ERROR - no Talvo Output port found for Talvo port ID 9\n"), 1U);
    const auto row = [this](unsigned channel) {
        return *mBoard.Word("0007", 0x90004 + 0x10 * channel);
    };
    EXPECT_TRUE(RunUntil(mIo, [&] { return row(3) != row(2); })) << "the gain has reached the converter";
    EXPECT_THAT(
        Ask("t2cfg/t2cfg"),
        testing::MatchesRegex("Operating level:      100 cB\nMic Headroom:         -20 cB\n"
                              "Card 0\n========\nInputs:\n-------\n"
                              "Port        Ph Pwr      AGain\\(cB\\)   DGain\\(cB\\)   \n"
                              "0           Off         (.|\n)*\n2           On          (.|\n)*"
                              "Outputs:\n--------\n"
                              "Port        Usage       Mute Type   Mute Status Gain\\(cB\\)    \n"
                              "0           T2 Pri      SW Mute     Unmuted     0           \n"
                              "1           T2 Pri      SW Mute     Unmuted     -130        \n"
                              "(.|\n)*\n4           T2 Pri      SW Mute     Muted       0           \n"
                              "(.|\n)*\n6           T2 Sec      SW Mute     Unmuted     0           \n"
                              "7           T2 Pri      SW Mute     Unmuted     0           \n"));
    mManager->SetOutputBitmap(nullptr);
    mManager->SetInputParams(nullptr);
    EXPECT_EQ(mLog.Count("Brindlet: SetOutputBitmap called with a null pointer argument\n"), 1U);
    EXPECT_EQ(mLog.Count("Brindlet: SetInputParams called with a null pointer argument\n"), 1U);
}

TEST_F(ShellNodes, SetTheRateAndTheLoopback) {
    Expect({{"t2cfg/set_samp X4 SR48k", "Enter a sample rate of X1 or X2"},
            {"t2cfg/set_samp X3 SR48k", "error: arg 0: cannot convert 'X3' to type 'FrequencyScaler'"},
            {"t2cfg/set_samp X2 SR44_1k", "Sample rate set to X244.1kHz"}});
    EXPECT_EQ(mManager->GetSampleRate(), SampleRates::SR44_1k);
    Settle();
    Expect({{"t2cfg/admatst 1 X2 SR48k", "Configured and enabled loopback"}});
    Settle();
    EXPECT_EQ(mBoard.Hear(0x800), 0x201U) << "the first output plays the second input";
    Expect({{"t2cfg/admatst 0 X2 SR96k", "Disabled loopback"}});
    Settle();
    EXPECT_EQ(mManager->GetSampleRate(), SampleRates::SR96k);
    EXPECT_EQ(mBoard.Hear(0x800), 0U);
}

TEST_F(ShellNodes, ReportTheWholeBox) {
    mBoard.SetPsuReading(0);
    mManager->UpdateDcStatus();
    const std::string rows =
        "\nDevice:                 Sorvel Brindlet KX4093\n"
        "SW Version:             2.0.5980\n"
        "FW Build:               1234\n"
        "HID:                    42 ( 0x2a )\n"
        "Mode:                   Talvo 2\n"
        "Protocol:               Talvo 2\n"
        "Sample rate:            48kHz\n"
        "Available Links:        No Talvo links\n"
        "Active Link:            No active Talvo link\n"
        "Active clock src:       internal\n"
        "DC Supply Volts:        0.0 Volts\n"
        "IO Box status:          0xfffffdff\n"
        "                        Valid:        true\n"
        "                        PSU0:         OK\n"
        "                        PSU1:         OK\n"
        "                        FAN:          OK\n"
        "                        RAIL48V:      OK\n"
        "                        RAIL15V0:     OK\n"
        "                        RAIL15V1:     OK\n"
        "                        MADIOK0:      OK\n"
        "                        MADIOK1:      OK\n"
        "                        DCOK:         fault\n"
        "                        DCRANGE:      OK\n"
        "                        DCPROTECTION: OK\n"
        "                        ACOK:         OK\n"
        "\n";
    EXPECT_EQ(Ask("status"), rows + mManager->GetPortReport());
    EXPECT_THAT(mManager->GetPortReport(), testing::StartsWith("Card 0\n"));
}

TEST_F(ShellNodes, TurnTheMemoryLogOnAndOff) {
    mLog.Enable(Feature::TalvoIoBoxVerbose);
    Expect({{"mem false", ""}, {"mem true", ""}, {"mem true", ""}, {"mem false", ""}});
    EXPECT_EQ(mLog.Count("Brindlet: enabling memory monitoring\n"), 2U);
    EXPECT_EQ(mLog.Count("Brindlet: disabling memory monitoring\n"), 1U);
}

TEST_F(ShellNodes, ChooseTheClock) {
    const auto& clocks = *mManager->ClockManager();
    const auto measure = [this](unsigned clock) {
        mBoard.Measure(clock, 1152000);
        Settle();
    };
    Expect({{"clock/sources", "t1 t2 "},
            {"clock/active", "Internal"},
            {"clock/enable nosuch", "Error: Unknown clock 'nosuch'"},
            {"clock/enable t2", ""}});
    Settle();
    measure(2);
    measure(2);
    EXPECT_EQ(Ask("clock/active"), "t2");
    EXPECT_THAT(Ask("clock/status"), testing::HasSubstr(" [selected]\n"));
    EXPECT_THAT(ClockWritesOf("clock/set_pll_source t1"),
                testing::ElementsAre("0004 W 0x24 0x00030018", "0004 W 0x20 0x00000001",
                                     "0004 W 0x24 0x00030018", "0004 W 0x20 0x00000000"))
        << "the internal clock has the last word";
    Expect({{"clock/auto_pll_select", ""}});
    Settle();
    measure(2);
    EXPECT_EQ(Ask("clock/active"), "t2");
    Expect({{"clock/use_internal true", ""}});
    Settle();
    EXPECT_EQ(Ask("clock/active"), "Internal");
    EXPECT_TRUE(clocks.IsAutoSelectOff());
    Expect({{"clock/use_internal 0", ""}});
    Settle();
    EXPECT_FALSE(clocks.IsAutoSelectOff());
    Expect({{"clock/disable t2", ""}});
    Settle();
    measure(2);
    EXPECT_EQ(Ask("clock/active"), "Internal");
    EXPECT_THAT(ClockWritesOf("clock/set_measurement_range 1 2"),
                testing::ElementsAre("0004 W 0x24 0x00030010", "0004 W 0x20 0x00000001",
                                     "0004 W 0x24 0x00030014", "0004 W 0x20 0x00000002"));
}
