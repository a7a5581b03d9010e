#include "Board.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <system_error>
#include <thread>

#include "OpenNode.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* kPowerUpState =
    R"({"dip":42,"firmware":77,)"
    R"("adc":{"gain":[0,0,0,0,0,0,0,0],"phantom":[false,false,false,false,false,false,false,false],)"
    R"("double_speed":false,"reset":true},)"
    R"("dac":{"gain_code":0,"reset":false},)"
    R"("adc_clocks":{"id":2,"master":0,"bit":0,"word":0,"spare":0},)"
    R"("dac_clocks":{"id":5,"master":0,"bit":0,"word":0,"spare":0},)"
    R"("adma":{"syncing":false,"syncs":0,"mute":false,"mute_on_pll_loss":true},)"
    R"("clock":{"pll_source":0,"pll_locked":false,"phase_freeze":false,"range":[0,4096]},)"
    R"("leds":{"ok":{"on":false,"pattern":0},"dc":{"on":false,"pattern":0}},)"
    R"("psu":{"reading":545,"line_fault":false,"protection_fault":false,"change_enable":0},)"
    R"("interrupt_enable":{"0003":0,"0004":0,"0008":0,"000A":0},)"
    R"("links":[{"up":false,"hid":0,"port":0,"fsi":0,"adma":0},{"up":false,"hid":0,"port":0,"fsi":0,"adma":0}]})";

constexpr const char* kWorkedState =
    R"({"dip":255,"firmware":77,)"
    R"("adc":{"gain":[17,0,0,0,0,0,0,4294967295],"phantom":[false,false,false,true,false,false,false,false],)"
    R"("double_speed":true,"reset":false},)"
    R"("dac":{"gain_code":9,"reset":true},)"
    R"("adc_clocks":{"id":2,"master":3,"bit":15,"word":1023,"spare":7},)"
    R"("dac_clocks":{"id":5,"master":0,"bit":0,"word":0,"spare":0},)"
    R"("adma":{"syncing":false,"syncs":0,"mute":true,"mute_on_pll_loss":false},)"
    R"("clock":{"pll_source":2,"pll_locked":true,"phase_freeze":true,"range":[5,6]},)"
    R"("leds":{"ok":{"on":true,"pattern":0},"dc":{"on":true,"pattern":5}},)"
    R"("psu":{"reading":4095,"line_fault":true,"protection_fault":true,"change_enable":12288},)"
    R"("interrupt_enable":{"0003":1,"0004":31,"0008":3,"000A":1},)"
    R"("links":[{"up":false,"hid":0,"port":0,"fsi":0,"adma":0},{"up":false,"hid":0,"port":0,"fsi":0,"adma":0}]})";

sim::BoardSettings OddSettings() {
    sim::BoardSettings settings;
    settings.mDip = 42;
    settings.mFirmware = 77;
    settings.mDcReading = 545;
    settings.mAdcId = 2;
    settings.mDacId = 5;
    return settings;
}

struct NodeWord {
    const char* mIdentity;
    std::uint32_t mAddress;
    std::uint32_t mValue;
};

/// What an application writes while it works.
constexpr NodeWord kWork[] = {
    {"0007", 0x90000, 1},  {"0007", 0x90004, 17},     {"0007", 0x90074, 0xFFFFFFFF}, {"0007", 0x90038, 2},
    {"0007", 0x90008, 8},  {"0008", 0xA0004, 9},      {"0008", 0xA0008, 2},          {"000C", 0x40000, 3},
    {"000C", 0x40004, 15}, {"000C", 0x40008, 1023},   {"000C", 0x4000C, 7},          {"0004", 0x30018, 2},
    {"0004", 0x30010, 5},  {"0004", 0x30014, 6},      {"0009", 0x60000, 1},          {"000A", 0x60000, 1},
    {"000A", 0x60004, 5},  {"000A", 0x80008, 0x3000}, {"000A", 0x8000C, 0xFFFFFFFF},
};

}  // namespace

TEST(Board, TellsItsStateAtPowerUp) {
    const sim::Board board(OddSettings());
    EXPECT_EQ(board.StateText(), kPowerUpState);
}

TEST(Board, TellsWhatTheApplicationAndTheWorldHaveMadeOfIt) {
    sim::Board board(OddSettings());
    for (const NodeWord& word : kWork) {
        OpenNode(board, word.mIdentity).WriteWord(word.mAddress, word.mValue);
    }
    OpenNode(board, "0003").Write(0x38, 0x18);
    OpenNode(board, "0004").Write(0x38, 0x10);
    OpenNode(board, "0003").Write(0x30, 1);
    OpenNode(board, "0004").Write(0x30, 31);
    OpenNode(board, "0008").Write(0x30, 3);
    OpenNode(board, "000A").Write(0x30, 1);
    board.SetDip(255);
    board.SetPsuReading(4095);
    board.SetLineFault(true);
    board.SetProtectionFault(true);
    board.SetPllLocked(true);
    EXPECT_EQ(board.StateText(), kWorkedState);
    EXPECT_THAT(board.Violations(), IsEmpty());
}

TEST(Board, GivesTheCommonRegistersOfEachNode) {
    sim::Board board(OddSettings());
    EXPECT_EQ(OpenNode(board, "000C").Read(0x04), 2U);
    EXPECT_EQ(OpenNode(board, "000d").Read(0x04), 5U);
    EXPECT_EQ(OpenNode(board, "0010").Read(0x18), 77U);
    EXPECT_EQ(OpenNode(board, "0004").Read(0x3C), 0U);
    board.SetPllLocked(true);
    EXPECT_EQ(OpenNode(board, "0004").Read(0x3C), 8U);
    EXPECT_EQ(OpenNode(board, "0009").ReadWord(0x80000), 42U << 2);
    EXPECT_EQ(OpenNode(board, "000A").ReadWord(0x80000), 545U | 0x2000);
    EXPECT_NE(board.Open("0003", 0)->MappedBase(), 0U);
    EXPECT_EQ(board.Open("0003", 0)->MappedBase(), board.Open("0003", 0)->MappedBase());
    EXPECT_THAT(board.Violations(), IsEmpty());
}

TEST(Board, RefusesANodeThatItLacks) {
    sim::BoardSettings settings;
    settings.mWithout = {"000a"};
    sim::Board board(settings);
    const std::pair<const char*, unsigned> rows[] = {{"0099", 0}, {"0003", 1}, {"000A", 0}, {"", 0}};
    for (const auto& [identity, instance] : rows) {
        try {
            board.Open(identity, instance);
            ADD_FAILURE() << identity << " was opened";
        } catch (const std::system_error& error) {
            EXPECT_EQ(error.code(), std::error_code(19, std::generic_category()));
            EXPECT_THAT(error.what(), testing::StartsWith("FSI '" + std::string(identity) +
                                                          "' (device '', fd -1, size 0)"));
        }
    }
    EXPECT_FALSE(board.SetWord("000A", 0x60000, 1));
    board.SetLineFault(true);
    EXPECT_THAT(board.StateText(), testing::HasSubstr(R"("line_fault":true)"))
        << "the world goes on without it";
}

TEST(Board, AdvancesTheIndirectAddressOnAWriteAndNotOnARead) {
    sim::Board board({});
    OpenNode clocks(board, "000C");
    clocks.Write(0x24, 0x40000);
    clocks.Write(0x20, 11);
    clocks.Write(0x20, 12);
    EXPECT_EQ(clocks.ReadWord(0x40004), 12U);
    EXPECT_EQ(clocks.Read(0x20), 12U);
    clocks.Write(0x20, 13);
    clocks.Write(0x20, 14);
    EXPECT_EQ(clocks.ReadWord(0x40000), 11U);
    EXPECT_EQ(clocks.ReadWord(0x40004), 13U);
    EXPECT_EQ(clocks.ReadWord(0x40008), 14U);
}

TEST(Board, SetsAndClearsTheBitsOfAConverterByTwoRegisters) {
    sim::Board board({});
    OpenNode adc(board, "0007");
    adc.WriteWord(0x90038, 0x6);
    adc.WriteWord(0x90038, 0x8);
    adc.WriteWord(0x9003C, 0x4);
    EXPECT_EQ(board.Word("0007", 0x90038), 0xAU);
    EXPECT_EQ(board.Word("0007", 0x9003C), 0xAU) << "both registers show the word that they act on";
    EXPECT_EQ(board.Word("0007", 0x90028), 0U) << "the neighbour has a word of its own";
}

TEST(Board, ReportsEachAccessThatNoBlockDeclares) {
    sim::Board board({});
    OpenNode adma(board, "0003");
    OpenNode adc(board, "0007");
    EXPECT_EQ(adma.Read(0x24), 0U);
    adma.Write(0x3C, 1);
    EXPECT_EQ(adma.Read(0x44), 0U);
    adma.Write(0x02, 1);
    adma.WriteWord(0xC0000, 5);
    EXPECT_EQ(adma.ReadWord(0xC0000), 0U) << "the table can't be read";
    adma.WriteWord(0xC2000, 5);
    adc.WriteWord(0x90010, 1);
    EXPECT_EQ(OpenNode(board, "0009").ReadWord(0x80002), 0U);
    OpenNode(board, "0009").WriteWord(0x80000, 1);
    EXPECT_THAT(board.Violations(),
                ElementsAre("0003: read of register 0x24 (indirect address), which is write only",
                            "0003: write of register 0x3c (status), which is read only",
                            "0003: read of offset 0x44, where there is no register",
                            "0003: write of offset 0x02, where there is no register",
                            "0003: read of internal address 0xc0000 (transaction table), which is write only",
                            "0003: write of internal address 0xc2000, where there is no word",
                            "0007: write of internal address 0x90010, where there is no word",
                            "0009: read of internal address 0x80002, where there is no word",
                            "0009: write of internal address 0x80000 (inputs), which is read only"));
    EXPECT_EQ(board.Word("0009", 0x80000), 1U << 2) << "a wrong write changes nothing";
}

TEST(Board, KeepsABoundedNumberOfReports) {
    sim::Board board({});
    OpenNode adma(board, "0003");
    for (std::size_t n = 0; n < 2 * sim::ViolationLog::kMaxKept; ++n) {
        adma.Read(0x44);
    }
    EXPECT_EQ(board.Violations().size(), sim::ViolationLog::kMaxKept);
}

TEST(BoardInterrupt, SignalsAtRaisingWhereEnabled) {
    sim::Board board({});
    OpenNode node(board, "0004");
    node.Write(0x30, 0x2);
    board.RaiseInterrupt("0004", 2);
    EXPECT_FALSE(node.Signals()) << "2 isn't enabled";
    EXPECT_THAT(board.Activity().mBusyWith, IsEmpty());
    board.RaiseInterrupt("0004", 1);
    EXPECT_TRUE(node.Signals());
    EXPECT_EQ(node.Read(0x18), 0x6U);
    EXPECT_EQ(board.Activity().mBusyWith, "interrupt 1 of 0004 is pending");
}

TEST(BoardInterrupt, SignalsAtEnablingWhatIsPending) {
    sim::Board board({});
    OpenNode node(board, "0004");
    board.RaiseInterrupt("0004", 31);
    node.Write(0x30, 0x7FFFFFFF);
    EXPECT_FALSE(node.Signals());
    node.Write(0x30, 0xFFFFFFFF);
    EXPECT_TRUE(node.TakeSignal());
    node.Write(0x30, 0xFFFFFFFF);
    EXPECT_FALSE(node.Signals()) << "31 had been enabled before";
}

TEST(BoardInterrupt, ClearsWhatIsAcknowledgedAndNothingElse) {
    sim::Board board({});
    OpenNode node(board, "0008");
    board.RaiseInterrupt("0008", 0);
    board.RaiseInterrupt("0008", 1);
    EXPECT_EQ(node.Read(0x34), 0U);
    node.Write(0x34, 0x2);
    EXPECT_EQ(node.Read(0x18), 0x1U);
}

TEST(BoardInterrupt, HoldsAtMostOneCountAndNeverBlocks) {
    sim::Board board({});
    OpenNode node(board, "000A");
    node.Write(0x30, 0x1);
    for (int n = 0; n < 100000; ++n) {
        board.RaiseInterrupt("000A", 0);
    }
    EXPECT_TRUE(node.TakeSignal());
    EXPECT_FALSE(node.TakeSignal());
    board.RaiseInterrupt("000A", 0);
    EXPECT_TRUE(node.TakeSignal()) << "and signals again once it has been read";
    EXPECT_NE(::fcntl(node.Window().Descriptor(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(BoardInputs, ChangeSetsItsFlagAndRaisesOnlyWhereEnabled) {
    sim::Board board({});
    OpenNode power(board, "000A");
    power.Write(0x30, 0x1);
    board.SetLineFault(true);
    EXPECT_EQ(power.ReadWord(0x80004), 0x1000U);
    EXPECT_EQ(power.Read(0x18), 0U) << "no change is enabled yet";
    power.WriteWord(0x80008, 0x2000);
    board.SetProtectionFault(true);
    EXPECT_EQ(power.ReadWord(0x80000), 2405U | 0x1000U);
    EXPECT_EQ(power.ReadWord(0x80004), 0x3000U);
    EXPECT_TRUE(power.TakeSignal());
    power.WriteWord(0x8000C, 0x2000);
    EXPECT_EQ(power.ReadWord(0x80004), 0x1000U) << "one flag cleared, the other stays";
    power.Write(0x34, 0x1);
    board.SetProtectionFault(true);
    board.SetPsuReading(0);
    EXPECT_EQ(power.Read(0x18), 0U) << "the same level again is no change, and the reading isn't an input";
    EXPECT_EQ(power.ReadWord(0x80004), 0x1000U);
}

TEST(BoardThreads, MayAllEnterAtOnce) {
    sim::Board board({});
    std::thread application([&board] {
        OpenNode adma(board, "0003");
        const std::vector<std::uint32_t> table(sim::kTableWords, 7);
        for (int n = 0; n < 50; ++n) {
            adma.Write(0x24, 0xC0000);
            adma.Window().WriteRun(0x20, table.data(), table.size());
            adma.Write(0x38, 0x20);
            adma.Write(0x38, 0x00);
        }
    });
    std::thread interrupts([&board] {
        OpenNode adma(board, "0003");
        for (int n = 0; n < 500; ++n) {
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
    application.join();
    interrupts.join();
    EXPECT_THAT(board.Violations(), IsEmpty());
}
