#include <gmock/gmock.h>

#include <chrono>
#include <vector>

#include "Board.h"
#include "OpenNode.h"

using testing::HasSubstr;

namespace {

constexpr std::uint32_t kSilent = 0x200;  // endpoint 1, sample 0, and silence as its source

std::uint32_t Transaction(std::uint32_t source, std::uint32_t destination) {
    return source << 12 | destination;
}

/// The audio DMA node as the application drives it: endpoint word 0x801 gets its sound from the given source.
class ChangeOver : public testing::Test {
  protected:
    explicit ChangeOver(const sim::BoardSettings& settings = {}) : mBoard(settings), mNode(mBoard, "0003") {
        mNode.Write(0x30, 0x1);
    }

    void WriteTable(std::uint32_t source) {
        std::vector<std::uint32_t> table(sim::kTableWords);
        table[0] = kSilent;
        table[2047] = Transaction(source, 0x801);
        mNode.Write(0x24, 0xC0000);
        mNode.Window().WriteRun(0x20, table.data(), table.size());
    }

    void Ask() {
        mNode.Write(0x38, 0x20);
        mNode.Write(0x38, 0x00);
    }

    bool IsSyncing() { return mNode.Read(0x3C) == 0x8; }

    /// Waits for the end of a change-over and acknowledges it.
    void AwaitEnd() {
        ASSERT_TRUE(mNode.Signals(5000));
        mNode.TakeSignal();
        mNode.Write(0x34, 0x1);
    }

    std::uint32_t Heard() const { return mBoard.Hear(0x801).value_or(0xFFFF); }

    sim::Board mBoard;
    OpenNode mNode;
};

class ChangeOverAtPowerUp : public ChangeOver {
  protected:
    ChangeOverAtPowerUp() : ChangeOver(Syncing()) {}
    static sim::BoardSettings Syncing() {
        sim::BoardSettings settings;
        settings.mSyncing = true;
        return settings;
    }
};

}  // namespace

TEST_F(ChangeOver, TakesTheTableIntoUseByItself) {
    WriteTable(0x203);
    EXPECT_FALSE(mBoard.Hear(0x801)) << "written, not in use";
    const auto asked = std::chrono::steady_clock::now();
    Ask();
    AwaitEnd();
    EXPECT_GE(std::chrono::steady_clock::now() - asked, std::chrono::microseconds(900));
    EXPECT_FALSE(IsSyncing());
    EXPECT_EQ(Heard(), 0x203U);
    EXPECT_EQ(mBoard.Hear(kSilent), 0U);
    EXPECT_FALSE(mBoard.Hear(0)) << "a word of 0 is no transaction";
    EXPECT_EQ(mBoard.TableInUse(2046, 2047), (std::vector<std::uint32_t>{0, Transaction(0x203, 0x801)}));
    EXPECT_THAT(mBoard.StateText(), HasSubstr(R"("syncing":false,"syncs":1)"));
}

TEST_F(ChangeOver, NeedsARisingSyncBit) {
    WriteTable(1);
    mNode.Write(0x38, 0x20);
    AwaitEnd();
    WriteTable(2);
    mNode.Write(0x38, 0x30);
    EXPECT_FALSE(IsSyncing()) << "the bit was up before";
    mNode.Write(0x38, 0x10);
    mBoard.SetSyncMode(sim::SyncMode::Hold);
    mNode.Write(0x38, 0x30);
    EXPECT_TRUE(IsSyncing());
    mBoard.SetSyncMode(sim::SyncMode::Auto);
    AwaitEnd();
    EXPECT_EQ(Heard(), 2U);
}

TEST_F(ChangeOver, TakesTheTableAsWrittenWhenItBegan) {
    mBoard.SetSyncMode(sim::SyncMode::Hold);
    WriteTable(1);
    Ask();
    EXPECT_TRUE(IsSyncing());
    WriteTable(2);
    mBoard.ReleaseSync();
    AwaitEnd();
    EXPECT_EQ(Heard(), 1U);
}

TEST_F(ChangeOver, RemembersOneMoreAndTakesTheTableOfThen) {
    mBoard.SetSyncMode(sim::SyncMode::Hold);
    WriteTable(1);
    Ask();
    for (const std::uint32_t source : {2U, 3U, 4U}) {
        WriteTable(source);
        Ask();
    }
    mBoard.ReleaseSync();
    AwaitEnd();
    EXPECT_EQ(Heard(), 1U);
    EXPECT_TRUE(IsSyncing()) << "the remembered one has begun, and is held";
    WriteTable(5);
    mBoard.ReleaseSync();
    AwaitEnd();
    EXPECT_EQ(Heard(), 4U);
    EXPECT_FALSE(IsSyncing());
    EXPECT_THAT(mBoard.StateText(), HasSubstr(R"("syncs":2)"));
}

TEST_F(ChangeOver, EndsAtOnceWhenAutoComesBack) {
    mBoard.SetSyncMode(sim::SyncMode::Hold);
    WriteTable(9);
    Ask();
    mBoard.SetSyncMode(sim::SyncMode::Auto);
    EXPECT_EQ(Heard(), 9U);
    AwaitEnd();
    WriteTable(8);
    Ask();
    AwaitEnd();
    EXPECT_EQ(Heard(), 8U) << "and later ones end by themselves";
}

TEST_F(ChangeOver, ReleaseHoldsTheNext) {
    mBoard.ReleaseSync();
    WriteTable(1);
    Ask();
    EXPECT_FALSE(mNode.Signals(20));
    EXPECT_TRUE(IsSyncing());
}

TEST_F(ChangeOver, KeepsTheApplicationBusyUntilItIsOverUnlessHeld) {
    EXPECT_EQ(mBoard.Activity().mBusyWith, "");
    WriteTable(1);
    Ask();
    EXPECT_NE(mBoard.Activity().mBusyWith, "");
    AwaitEnd();
    EXPECT_EQ(mBoard.Activity().mBusyWith, "");
    mBoard.SetSyncMode(sim::SyncMode::Hold);
    Ask();
    WriteTable(2);
    EXPECT_EQ(mBoard.Activity().mBusyWith, "");
}

TEST_F(ChangeOver, ExpectsNoRequestForEver) {
    const auto start = std::chrono::steady_clock::now();
    WriteTable(1);
    while (!mBoard.Activity().mBusyWith.empty() &&
           std::chrono::steady_clock::now() - start < std::chrono::seconds(5)) {
    }
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(100));
    EXPECT_LT(waited, std::chrono::seconds(5));
}

TEST_F(ChangeOverAtPowerUp, IsInHandAndHeld) {
    EXPECT_TRUE(IsSyncing());
    EXPECT_FALSE(mNode.Signals(20));
    EXPECT_EQ(mBoard.Activity().mBusyWith, "");
    WriteTable(6);
    mBoard.ReleaseSync();
    AwaitEnd();
    EXPECT_FALSE(mBoard.Hear(0x801)) << "it took the empty table";
    Ask();
    EXPECT_TRUE(IsSyncing());
    EXPECT_FALSE(mNode.Signals(20)) << "the next is held, too";
}
