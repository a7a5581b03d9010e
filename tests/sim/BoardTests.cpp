#include "Board.h"

#include <gmock/gmock.h>

#include <chrono>
#include <future>

#include "OpenNode.h"

using namespace std::chrono_literals;

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

class BoardTest : public testing::Test {
  protected:
    sim::Board mBoard{{}};
};

/// The audio DMA node as the application drives it: endpoint word 0x801 gets its sound from the given source,
/// 0x200 silence.
class ChangeOver : public BoardTest {
  protected:
    ChangeOver() { mNode.Write(0x30, 0x1); }

    void WriteTable(std::uint32_t source) {
        std::vector<std::uint32_t> table(sim::kTableWords);
        table.front() = 0x200;
        table.back() = source << 12 | 0x801;
        mNode.Write(0x24, 0xC0000);
        mNode.Window().WriteRun(0x20, table.data(), table.size());
    }

    void AskFor(std::uint32_t source) {
        WriteTable(source);
        mNode.Write(0x38, 0x20);
        mNode.Write(0x38, 0x00);
    }

    bool IsSyncing() { return mNode.Read(0x3C) == 0x8; }

    /// Waits for the end of a change-over and acknowledges it; the source heard from then on.
    std::uint32_t HeardAtEnd() {
        EXPECT_TRUE(mNode.TakeSignal(5000));
        mNode.Write(0x34, 0x1);
        return mBoard.Hear(0x801).value_or(0xFFFF);
    }

    OpenNode mNode{mBoard, "0003"};
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

TEST_F(BoardTest, AdvancesTheIndirectAddressAndReportsEachAccessThatNoBlockDeclaresUpToABound) {
    OpenNode clocks(mBoard, "000C");
    clocks.WriteWord(0x40000, 11);
    clocks.Write(0x20, 12);
    EXPECT_EQ(clocks.ReadWord(0x40004), 12U) << "a write advances the indirect address";
    EXPECT_EQ(clocks.Read(0x20), 12U) << "and a read doesn't";
    OpenNode adma(mBoard, "0003");
    EXPECT_EQ(adma.Read(0x24), 0U);
    adma.Write(0x02, 1);
    adma.WriteWord(0xC0000, 5);
    EXPECT_EQ(adma.ReadWord(0xC0000), 0U) << "the table can't be read";
    adma.WriteWord(0xC2000, 5);
    OpenNode(mBoard, "0009").WriteWord(0x80000, 1);
    EXPECT_EQ(mBoard.Word("0009", 0x80000), 1U << 2) << "a wrong write changes nothing";
    const std::vector<std::string> reports = {
        "0003: read of register 0x24 (indirect address), which is write only",
        "0003: write of offset 0x02, where there is no register",
        "0003: read of internal address 0xc0000 (transaction table), which is write only",
        "0003: write of internal address 0xc2000, where there is no word",
        "0009: write of internal address 0x80000 (inputs), which is read only"};
    EXPECT_EQ(mBoard.Violations(), reports);
    for (std::size_t n = 0; n < sim::ViolationLog::kMaxKept; ++n) {
        adma.Read(0x44);
    }
    EXPECT_EQ(mBoard.Violations().size(), sim::ViolationLog::kMaxKept);
}

TEST_F(BoardTest, SignalsAnInterruptOnceWhereEnabledAtRaisingAndAtEnabling) {
    OpenNode node(mBoard, "0004");
    node.Write(0x30, 0x2);
    mBoard.RaiseInterrupt("0004", 31);
    EXPECT_FALSE(node.TakeSignal()) << "31 isn't enabled";
    for (int n = 0; n < 100000; ++n) {  // more than a pipe would hold
        mBoard.RaiseInterrupt("0004", 1);
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

TEST_F(BoardTest, FlagsTheChangeOfAnInputAndInterruptsOnlyWhereEnabled) {
    OpenNode power(mBoard, "000A");
    power.WriteWord(0x80008, 0x2000);
    mBoard.SetLineFault(true);
    EXPECT_EQ(power.Read(0x18), 0U) << "its change isn't enabled";
    mBoard.SetProtectionFault(true);
    EXPECT_EQ(power.Read(0x18), 0x1U);
    EXPECT_EQ(power.ReadWord(0x80004), 0x3000U);
    power.WriteWord(0x8000C, 0x2000);
    mBoard.SetProtectionFault(true);
    EXPECT_EQ(power.ReadWord(0x80004), 0x1000U) << "one flag cleared; the same level again is no change";
}

TEST_F(BoardTest, MayBeEnteredByAllThreadsAtOnce) {
    const auto application = std::async(std::launch::async, [this] {
        OpenNode adma(mBoard, "0003");
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
        mBoard.RaiseInterrupt("0003", 0);
        mBoard.Hear(7);
        mBoard.StateText();
        mBoard.SetSyncMode(n % 2 == 0 ? sim::SyncMode::Hold : sim::SyncMode::Auto);
    }
    application.wait();
    EXPECT_THAT(mBoard.Violations(), testing::IsEmpty());
}

TEST_F(BoardTest, LosesNoClockMeasurementWhetherAcknowledgedBeforeOrAfterItIsRead) {
    OpenNode node(mBoard, "0004");
    node.Write(0x30, 0x1F);
    for (std::uint32_t n = 0; n < 4; ++n) {
        mBoard.Measure(0xFF - n, 0xFFFFFF - n);
    }
    for (const std::uint32_t expected : {0xFFFFFFFFU, 0xFFFFFDFDU}) {
        EXPECT_TRUE(node.TakeSignal());
        node.Write(0x34, 0x4);
        EXPECT_EQ(node.ReadWord(0x30000), expected);
        EXPECT_TRUE(node.TakeSignal());
        EXPECT_EQ(node.ReadWord(0x30000), expected - 0x101);
        node.Write(0x34, 0x4);
    }
    EXPECT_EQ(node.Read(0x18), 0U);
    EXPECT_EQ(node.ReadWord(0x30000), 0xFFFFFCFCU) << "the last one stays";
    for (std::size_t n = 0; n <= sim::ReferenceBlock::kMaxQueued; ++n) {
        ASSERT_TRUE(mBoard.Measure(1, n));
    }
    EXPECT_FALSE(mBoard.Measure(1, 1)) << "the queue holds no more";
    node.TakeSignal();
    node.Write(0x34, 0x4);
    EXPECT_NE(mBoard.Activity().mBusyWith, "");
    EXPECT_TRUE(node.TakeSignal(5000)) << "it goes on where nobody reads";
    EXPECT_EQ(mBoard.Word("0004", 0x30000), 0x101U);
    EXPECT_TRUE(mBoard.Measure(1, 1));
}

TEST_F(ChangeOver, NeedsARisingSyncBit) {
    mNode.Write(0x38, 0x20);
    HeardAtEnd();
    WriteTable(2);
    EXPECT_FALSE(mBoard.Hear(0x801)) << "written, not in use";
    mNode.Write(0x38, 0x30);
    EXPECT_FALSE(IsSyncing()) << "the bit was up before";
    mNode.Write(0x38, 0x10);
    mNode.Write(0x38, 0x30);
    EXPECT_EQ(HeardAtEnd(), 2U);
    EXPECT_EQ(mBoard.Hear(0x200), 0U);
    EXPECT_FALSE(mBoard.Hear(0)) << "a word of 0 is no transaction";
}

TEST_F(ChangeOver, RemembersOneMoreWhileHeldAndTakesTheTableOfThen) {
    mBoard.SetSyncMode(sim::SyncMode::Hold);
    for (const std::uint32_t source : {1U, 2U, 3U, 4U}) {
        AskFor(source);
    }
    mBoard.ReleaseSync();
    EXPECT_EQ(HeardAtEnd(), 1U);
    EXPECT_TRUE(IsSyncing()) << "the remembered one has begun, and is held";
    WriteTable(5);
    mBoard.ReleaseSync();
    EXPECT_EQ(HeardAtEnd(), 4U);
    AskFor(9);
    EXPECT_FALSE(mNode.TakeSignal(20)) << "a release holds the next";
    mBoard.SetSyncMode(sim::SyncMode::Auto);
    EXPECT_EQ(HeardAtEnd(), 9U);
}

TEST_F(ChangeOver, KeepsTheApplicationBusyUntilItIsOverUnlessHeld) {
    AskFor(1);
    EXPECT_NE(mBoard.Activity().mBusyWith, "");
    HeardAtEnd();
    EXPECT_EQ(mBoard.Activity().mBusyWith, "");
    const auto written = std::chrono::steady_clock::now();
    WriteTable(1);
    while (!mBoard.Activity().mBusyWith.empty()) {
        ASSERT_LT(std::chrono::steady_clock::now() - written, 5s) << "it expects no request for ever";
    }
    EXPECT_GE(std::chrono::steady_clock::now() - written, 100ms) << "one is expected to follow the table";
    mBoard.SetSyncMode(sim::SyncMode::Hold);
    AskFor(2);
    EXPECT_EQ(mBoard.Activity().mBusyWith, "");
}
