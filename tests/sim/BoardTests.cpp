#include "Board.h"

#include <gmock/gmock.h>

#include <future>

#include "OpenNode.h"

namespace {

constexpr const char* kWorkedState =
    R"({"dip":255,"firmware":77,"adc":{"gain":[17,0,0,0,0,0,0,4294967295],)"
    R"("phantom":[false,false,false,true,false,false,false,false],"double_speed":true,"reset":false},)"
    R"("dac":{"gain_code":9,"reset":true},"adc_clocks":{"id":2,"master":3,"bit":15,"word":1023,"spare":7},)"
    R"("dac_clocks":{"id":5,"master":0,"bit":0,"word":0,"spare":0},)"
    R"("adma":{"syncing":false,"syncs":0,"mute":true,"mute_on_pll_loss":false},)"
    R"("clock":{"pll_source":2,"pll_locked":true,"phase_freeze":true,"range":[5,6]},)"
    R"("leds":{"ok":{"on":true,"pattern":0},"dc":{"on":true,"pattern":5}},)"
    R"("psu":{"reading":4095,"line_fault":true,"protection_fault":true,"change_enable":12288},)"
    R"("interrupt_enable":{"0003":1,"0004":31,"0008":3,"000A":1},)"
    R"("links":[{"up":false,"hid":0,"port":0,"fsi":0,"adma":0},)"
    R"({"up":false,"hid":0,"port":0,"fsi":0,"adma":0}]})";

/// What an application writes to each node while it works: words or, below 0x40, registers.
const std::pair<const char*, std::vector<std::pair<std::uint32_t, std::uint32_t>>> kWork[] = {
    {"0003", {{0x38, 0x18}, {0x30, 1}}},
    {"0004", {{0x30018, 2}, {0x30010, 5}, {0x30014, 6}, {0x38, 0x10}, {0x30, 31}}},
    {"0007",
     {{0x90000, 1}, {0x90004, 17}, {0x90074, 0xFFFFFFFF}, {0x90038, 0xA}, {0x9003C, 8}, {0x90008, 8}}},
    {"0008", {{0xA0004, 9}, {0xA0008, 2}, {0x30, 3}}},
    {"0009", {{0x60000, 1}}},
    {"000A",
     {{0x60000, 1}, {0x60004, 5}, {0x80008, 0x1000}, {0x80008, 0x2000}, {0x8000C, 0xFFFFFFFF}, {0x30, 1}}},
    {"000C", {{0x40000, 3}, {0x40004, 15}, {0x40008, 1023}, {0x4000C, 7}}},
};

}  // namespace

TEST(Board, TellsWhatTheApplicationAndTheWorldHaveMadeOfIt) {
    sim::Board board(sim::BoardSettings{42, 77, 545, 2, 5, {}, false});
    EXPECT_THAT(board.StateText(), testing::HasSubstr(R"("double_speed":false,"reset":true},"dac":{)"));
    for (const auto& [identity, writes] : kWork) {
        OpenNode node(board, identity);
        for (const auto& [address, value] : writes) {
            address < 0x40 ? node.Write(address, value) : node.WriteWord(address, value);
        }
    }
    board.SetDip(255);
    board.SetPsuReading(4095);
    board.SetLineFault(true);
    board.SetProtectionFault(true);
    board.SetPllLocked(true);
    EXPECT_EQ(board.StateText(), kWorkedState);
    EXPECT_THAT(board.Violations(), testing::IsEmpty());
}

TEST(Board, AdvancesTheIndirectAddressAndReportsEachAccessThatNoBlockDeclaresUpToABound) {
    sim::Board board({});
    OpenNode clocks(board, "000C");
    clocks.WriteWord(0x40000, 11);
    clocks.Write(0x20, 12);
    EXPECT_EQ(clocks.ReadWord(0x40004), 12U) << "a write advances the indirect address";
    EXPECT_EQ(clocks.Read(0x20), 12U) << "and a read doesn't";
    OpenNode adma(board, "0003");
    EXPECT_EQ(adma.Read(0x24), 0U);
    adma.Write(0x02, 1);
    adma.WriteWord(0xC0000, 5);
    EXPECT_EQ(adma.ReadWord(0xC0000), 0U) << "the table can't be read";
    adma.WriteWord(0xC2000, 5);
    OpenNode(board, "0009").WriteWord(0x80000, 1);
    EXPECT_EQ(board.Word("0009", 0x80000), 1U << 2) << "a wrong write changes nothing";
    const std::vector<std::string> reports = {
        "0003: read of register 0x24 (indirect address), which is write only",
        "0003: write of offset 0x02, where there is no register",
        "0003: read of internal address 0xc0000 (transaction table), which is write only",
        "0003: write of internal address 0xc2000, where there is no word",
        "0009: write of internal address 0x80000 (inputs), which is read only"};
    EXPECT_EQ(board.Violations(), reports);
    for (std::size_t n = 0; n < sim::ViolationLog::kMaxKept; ++n) {
        adma.Read(0x44);
    }
    EXPECT_EQ(board.Violations().size(), sim::ViolationLog::kMaxKept);
}

TEST(BoardInterrupt, SignalsOnceWhereEnabledAtRaisingAndAtEnabling) {
    sim::Board board({});
    OpenNode node(board, "0004");
    node.Write(0x30, 0x2);
    board.RaiseInterrupt("0004", 31);
    EXPECT_FALSE(node.TakeSignal()) << "31 isn't enabled";
    for (int n = 0; n < 100000; ++n) {  // more than a pipe would hold
        board.RaiseInterrupt("0004", 1);
    }
    EXPECT_TRUE(node.TakeSignal());
    EXPECT_FALSE(node.TakeSignal());
    node.Write(0x34, 0x2);
    EXPECT_EQ(node.Read(0x18), 0x80000000U) << "what was acknowledged has gone, and nothing else";
    node.Write(0x30, 0xFFFFFFFF);
    EXPECT_TRUE(node.TakeSignal());
    node.Write(0x30, 0xFFFFFFFF);
    EXPECT_FALSE(node.TakeSignal()) << "31 had been enabled before";
}

TEST(BoardInputs, ChangeSetsItsFlagAndRaisesOnlyWhereEnabled) {
    sim::Board board({});
    OpenNode power(board, "000A");
    power.WriteWord(0x80008, 0x2000);
    board.SetLineFault(true);
    EXPECT_EQ(power.Read(0x18), 0U) << "its change isn't enabled";
    board.SetProtectionFault(true);
    EXPECT_EQ(power.Read(0x18), 0x1U);
    EXPECT_EQ(power.ReadWord(0x80004), 0x3000U);
    power.WriteWord(0x8000C, 0x2000);
    board.SetProtectionFault(true);
    EXPECT_EQ(power.ReadWord(0x80004), 0x1000U) << "one flag cleared; the same level again is no change";
}

TEST(BoardThreads, MayAllEnterAtOnce) {
    sim::Board board({});
    const auto application = std::async(std::launch::async, [&board] {
        OpenNode adma(board, "0003");
        const std::vector<std::uint32_t> table(sim::kTableWords, 7);
        for (int n = 0; n < 50; ++n) {
            adma.Write(0x24, 0xC0000);
            adma.Window().WriteRun(0x20, table.data(), table.size());
            adma.Write(0x38, n % 2 == 0 ? 0x20 : 0x00);
            adma.TakeSignal();
            adma.Write(0x34, adma.Read(0x18));
        }
    });
    for (int n = 0; n < 200; ++n) {
        board.RaiseInterrupt("0003", 0);
        board.Hear(7);
        board.StateText();
        board.SetSyncMode(n % 2 == 0 ? sim::SyncMode::Hold : sim::SyncMode::Auto);
    }
    application.wait();
    EXPECT_THAT(board.Violations(), testing::IsEmpty());
}
