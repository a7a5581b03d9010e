#include <gmock/gmock.h>

#include "Action.h"
#include "CliNodePower.h"
#include "CliT2PortConfigNode.h"
#include "ControllerFixture.h"
#include "ExtRefNode.h"
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

    void Expect(const std::string& node, const std::vector<std::pair<const char*, const char*>>& rows) {
        for (const auto& [line, reply] : rows) {
            EXPECT_EQ(Ask(node + line), reply) << line;
        }
    }

    void Settle() {
        EXPECT_TRUE(RunUntil(mIo, [this] { return mBoard.Activity().mBusyWith.empty(); }));
        mIo.poll();
    }

    /// What the command writes to the clock unit.
    std::string ClockWritesOf(const std::string& line) {
        std::string clock;
        for (const std::string& write : WritesOf(mBoard, [&] { Ask(line), Settle(); })) {
            clock += write.rfind("0004 W", 0) == 0 ? write.substr(7) + "|" : "";
        }
        return clock;
    }

    cmd::NodeManager::RootNode mRoot;
};

}  // namespace

TEST_F(ShellNodes, ShowAndForceThePowerState) {
    Expect("power/",
           {{"line_flt", "DC Line fault:            inactive"},
            {"set_dc_supply_flt 1", "DC supply fault is on"},
            {"line_flt", "DC Line fault:            active"},
            {"dc_ok_flt", "Ext DC Supply OK fault:   inactive"},
            {"set_dc_ok_flt true", "DC supply fault is on"},
            {"dc_ok_flt", "Ext DC Supply OK fault:   active"},
            {"set_dc_op_flt 1", "Set the DC supply operating range fault"},
            {"dc_op_flt", "Ext DC Supply Op range:   active (out of range)"},
            {"dc_prot_flt", "DC supply protection fault status: inactive (DC Supply OK)"},
            {"set_dc_prot_flt 1", "Set DC supply protection fault to active"},
            {"dc_prot_flt",
             "DC supply protection fault status: active ( over-volts/over-current, shutdown likely )"}});
    EXPECT_EQ(mManager->GetIoBoxStatus(), 0xFFFFE1FFU);
    Expect("power/", {{"set_dc_supply_flt 0", "DC supply fault is off"},
                      {"set_dc_ok_flt 0", "DC supply fault is off"},
                      {"set_dc_prot_flt 0", "Set DC supply protection fault status to inactive"},
                      {"set_dc_op_flt 0", "Clear DC supply operating range fault"},
                      {"dc_op_flt", "Ext DC Supply Op range:   inactive (in range)"},
                      {"set_dc_mon 0", "DC supply monitoring disabled"},
                      {"set_dc_mon off", "error: arg 0: cannot convert 'off' to type 'bool'"}});
    EXPECT_EQ(mManager->GetIoBoxStatus(), 0xFFFFFFFFU);
}

TEST_F(ShellNodes, OrderForThePortsWhatARouterCould) {
    mManager->FakeActiveLink("t1");
    Settle();
    Expect("t2cfg/", {{"set_oplvl 100", "Set Operating Level to 100 cB"},
                      {"set_michdr -20", "Set Mic Headroom to -20 cB"},
                      {"set_ingain 8 0", "Enter a port ID between 0 and 7, followed by a gain in cB"},
                      {"set_ingain 3 -40",
                       "Set gain for port3 to -40cB [Operating Level = 100 cB, mic headroom = -20 cB ]"},
                      {"set_pp 8 1", "Enter a port ID between 0 and 7"},
                      {"set_pp 2 1", "Phantom power for port 2 set to 1"},
                      {"set_outgain 0 -50", "Unknown setting! Use: 0, -40, -60, -80, -100, -130 cB"},
                      {"set_outgain 1 -130", "Set gain for output port 1 to -130 cB"},
                      {"set_ptmt 8 1", "Enter a port ID between 0 and 7"},
                      {"set_ptmt 4 1", "Port 4 muted"},
                      {"set_ptmt 5 0", "Port 5 un-muted"},
                      {"set_bmp 8 0", "Port Id error - enter a value between 0 & 7"},
                      {"set_bmp 0 2", "Route error - enter either 0 (Pri) or 1 (Sec)"},
                      {"set_bmp 0 1", "Set T2 source for output port 0 to T2 Sec link"},
                      {"set_bmp -1 0", "Set T2 source for output port -1 to T2 Pri link"},
                      {"set_glbmute 1", "Global mute is enabled"},
                      {"glbmute", "Global mute is disabled"}});
    EXPECT_TRUE(RunUntil(mIo, [&] { return mBoard.Word("0007", 0x90034) != mBoard.Word("0007", 0x90024); }))
        << "the gain has reached the converter";
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
}

TEST_F(ShellNodes, SetTheRateAndTheLoopback) {
    Expect("t2cfg/set_samp ",
           {{"X4 SR48k", "Enter a sample rate of X1 or X2"}, {"X2 SR44_1k", "Sample rate set to X244.1kHz"}});
    EXPECT_EQ(mManager->GetSampleRate(), SampleRates::SR44_1k);
    Settle();
    EXPECT_EQ(Ask("t2cfg/admatst 1 X2 SR48k"), "Configured and enabled loopback");
    Settle();
    EXPECT_EQ(mBoard.Hear(0x800), 0x201U) << "the first output plays the second input";
    EXPECT_EQ(Ask("t2cfg/admatst 0 X2 SR96k"), "Disabled loopback");
    Settle();
    EXPECT_EQ(mManager->GetSampleRate(), SampleRates::SR96k);
    EXPECT_EQ(mBoard.Hear(0x800), 0U);
}

TEST_F(ShellNodes, ReportTheWholeBox) {
    mBoard.SetPsuReading(0);
    mManager->UpdateDcStatus();
    std::string report =
        "\nDevice:                 Sorvel Brindlet KX4093\n"
        "SW Version:             2.0.5980\n"
        "FW Build:               1234\n"
        "HID:                    1 ( 0x1 )\n"
        "Mode:                   Talvo 2\n"
        "Protocol:               Talvo 2\n"
        "Sample rate:            48kHz\n"
        "Available Links:        No Talvo links\n"
        "Active Link:            No active Talvo link\n"
        "Active clock src:       internal\n"
        "DC Supply Volts:        0.0 Volts\n"
        "IO Box status:          0xfffffdff\n"
        "                        Valid:        true\n";
    for (const std::string part : {"PSU0", "PSU1", "FAN", "RAIL48V", "RAIL15V0", "RAIL15V1", "MADIOK0",
                                   "MADIOK1", "DCOK", "DCRANGE", "DCPROTECTION", "ACOK"}) {
        report += std::string(24, ' ') + part + ":" + std::string(13 - part.size(), ' ') +
                  (part == "DCOK" ? "fault\n" : "OK\n");
    }
    EXPECT_EQ(Ask("status"), report + "\n" + mManager->GetPortReport());
}

TEST_F(ShellNodes, TurnTheMemoryLogOnAndOff) {
    mLog.Enable(Feature::TalvoIoBoxVerbose);
    Expect("", {{"mem false", ""}, {"mem true", ""}, {"mem true", ""}, {"mem false", ""}});
    EXPECT_EQ(mLog.Count("Brindlet: enabling memory monitoring\n"), 2U);
    EXPECT_EQ(mLog.Count("Brindlet: disabling memory monitoring\n"), 1U);
}

TEST_F(ShellNodes, ChooseTheClock) {
    const auto activeAfter = [this](const char* line) {
        EXPECT_EQ(Ask(line), "") << line;
        Settle();
        for (int i = 0; i < 2; ++i) {
            mBoard.Measure(2, 1152000);
            Settle();
        }
        return Ask("clock/active");
    };
    Expect("clock/", {{"sources", "t1 t2 "}, {"enable nosuch", "Error: Unknown clock 'nosuch'"}});
    EXPECT_EQ(activeAfter("clock/enable t2"), "t2");
    EXPECT_THAT(Ask("clock/status"), testing::HasSubstr(" [selected]\n"));
    EXPECT_EQ(ClockWritesOf("clock/set_pll_source t1"),
              "0x24 0x00030018|0x20 0x00000001|0x24 0x00030018|0x20 0x00000000|")
        << "the internal clock has the last word";
    EXPECT_EQ(activeAfter("clock/auto_pll_select"), "t2");
    EXPECT_EQ(activeAfter("clock/use_internal true"), "Internal");
    EXPECT_EQ(activeAfter("clock/use_internal 0"), "t2");
    EXPECT_EQ(activeAfter("clock/disable t2"), "Internal");
    EXPECT_EQ(ClockWritesOf("clock/set_measurement_range 1 2"),
              "0x24 0x00030010|0x20 0x00000001|0x24 0x00030014|0x20 0x00000002|");
}
