#include <gmock/gmock.h>

#include <chrono>

#include "Board.h"
#include "OpenNode.h"

using namespace std::chrono_literals;

namespace {

/// The audio DMA node as the application drives it: endpoint word 0x801 gets its sound from the given source,
/// 0x200 silence.
class ChangeOver : public testing::Test {
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

    sim::Board mBoard{{}};
    OpenNode mNode{mBoard, "0003"};
};

}  // namespace

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
