#include <gmock/gmock.h>

#include <boost/format.hpp>

#include "VirtualBox.h"

using testing::ElementsAre;
using testing::HasSubstr;

TEST(AudioRoad, GoesFromATypedCommandToTheSound) {
    VirtualBox box;
    EXPECT_EQ(box.Bench().Ask("hear 4 0"), "ok silence");
    box.Do("adma/patch2 adcins 0,1 dacins 0,1");
    EXPECT_EQ(box.Bench().Ask("hear 4 0"), "ok 1 0");
    EXPECT_EQ(box.Bench().Ask("hear 4 1"), "ok 1 1");
    EXPECT_EQ(box.Bench().Ask("hear 4 2"), "ok silence");
    EXPECT_EQ(box.Bench().Ask("table 1024 1025"), "ok 0x00200800 0x00201801");
    EXPECT_EQ(box.Bench().Ask("hear 6 0"), "ok none");
    EXPECT_EQ(box.Shell().Ask("adma/transactions 1025 1024"), "1024: 0x00200800");
    EXPECT_EQ(box.Shell().ReadLine(), "1025: 0x00201801");
    EXPECT_EQ(box.Shell().ReadLine(), "");
}

TEST(AudioRoad, PlaysTheLoopbackTableAndSilenceBeyondIt) {
    VirtualBox box;
    box.Do("adma/patch2 adcins 0-15 dacins 0-15");
    box.Do("adma/patch adcins dacins");
    EXPECT_EQ(box.Bench().Ask("hear 4 0"), "ok 1 1");
    EXPECT_EQ(box.Bench().Ask("hear 4 1"), "ok 1 0");
    EXPECT_EQ(box.Bench().Ask("hear 4 15"), "ok silence");
}

TEST(AudioRoad, ClearsBySourceBySinkAndWhole) {
    VirtualBox box;
    const auto fill = [&box] {
        box.Do("adma/patch2 adcins 0,1 dacins 0,1");
        box.Do("adma/patch2 t1 5,6 dacins 2,3");
        box.Do("adma/patch2 adcins 3 t2 511");
    };
    const auto heard = [&box] {
        return std::vector<std::string>{box.Bench().Ask("hear 4 0"), box.Bench().Ask("hear 4 2"),
                                        box.Bench().Ask("hear 2 511")};
    };
    fill();
    EXPECT_THAT(heard(), ElementsAre("ok 1 0", "ok 3 5", "ok 1 3"));
    box.Do("adma/clear_from adcins");
    EXPECT_THAT(heard(), ElementsAre("ok silence", "ok 3 5", "ok silence"));
    fill();
    box.Do("adma/clear_to dacins");
    EXPECT_THAT(heard(), ElementsAre("ok silence", "ok silence", "ok 1 3"));
    fill();
    box.Do("adma/clear_all");
    EXPECT_THAT(heard(), ElementsAre("ok silence", "ok silence", "ok silence"));
    fill();
    box.Do("adma/reset_fsi");
    EXPECT_THAT(heard(), ElementsAre("ok none", "ok none", "ok none"));
    box.Do("adma/sync");
    EXPECT_THAT(heard(), ElementsAre("ok silence", "ok silence", "ok silence"));
}

TEST(AudioRoad, RefusesWhatItCannotPatch) {
    VirtualBox box;
    const struct {
        const char* mLine;
        const char* mReply;
    } rows[] = {
        {"adma/patch dacins t1", "Error: Unknown or invalid source 'dacins'"},
        {"adma/patch nosuch t1", "Error: Unknown or invalid source 'nosuch'"},
        {"adma/patch t1 adcins", "Error: Unknown or invalid sink 'adcins'"},
        {"adma/patch2 t1 0-9 t2 0-8",
         "Error: Source and sink sizes must match: 10 sources and 9 sinks requested"},
        {"adma/patch2 t1 3,2 t2 0,1", "Error: '3,2' is not valid for 't1'"},
        {"adma/patch2 adcins 0-4000000000 t2 0", "Error: '0-4000000000' is not valid for 'adcins'"},
        {"adma/patch2 t1 0 dacins 16", "Error: '16' is not valid for 'dacins'"},
        {"adma/clear_from dacins", "Error: Unknown or invalid source 'dacins'"},
        {"adma/clear_to adcins", "Error: Unknown or invalid sink 'adcins'"},
        {"adma/patch t1", "error: 'patch' expects 2 argument(s), 1 provided"},
        {"adma/mute TRUE", "error: arg 0: cannot convert 'TRUE' to type 'bool'"},
        {"adma/transactions 0 -1", "error: arg 1: cannot convert '-1' to type 'unsigned'"},
    };
    const int syncs = box.Syncs();
    for (const auto& row : rows) {
        EXPECT_EQ(box.Shell().Ask(row.mLine), row.mReply);
    }
    EXPECT_EQ(box.Syncs(), syncs);
    box.Do("adma/patch2 t1 0,0,1 t2 0,1");
    box.Do("adma/transactions 3000 4000");
    EXPECT_EQ(box.Bench().Ask("hear 2 1"), "ok 3 1");
}

TEST(AudioRoad, ReportsEndpointsAndRoutes) {
    VirtualBox box;
    box.Do("adma/patch2 t1 4-6 dacins 2-4");
    box.Shell().Send("adma/links\nhid\n");
    const std::string links = box.Shell().ReadUntil("Hid");
    EXPECT_THAT(links,
                testing::ContainsRegex(
                    "^adcins: Endpoint: 1,      \\[no transactions\\], FSI: 000C, mapped addr: 0x[0-9a-f]+\n"
                    "dacins: Endpoint: 4, transactions 1024-1039, FSI: 000D, mapped addr: 0x[0-9a-f]+\n"
                    "    t1: Endpoint: 3,     transactions 0-511, \\[Kernel FSI\\]\n"
                    "    t2: Endpoint: 2,  transactions 512-1023, \\[Kernel FSI\\]\n"));
    box.Shell().Send("adma/status\nhid\n");
    const std::string status = box.Shell().ReadUntil("Hid");
    EXPECT_THAT(status, HasSubstr("             Sources Sinks\n"));
    EXPECT_THAT(status, HasSubstr("        0       >> dacins: 0-1\n"
                                  "    t1: 4-6     >> dacins: 2-4\n"
                                  "        0       >> dacins: 5-15\n"));
    EXPECT_THAT(status, HasSubstr("adcins: 14-15   >>     t2: 6-7\n        0       >>     t2: 8-511\n"));
}

TEST(SyncHandshake, FoldsAnyNumberOfRequestsDuringAChangeOver) {
    VirtualBox box;
    box.Bench().Ask("sync hold");
    box.Do("adma/patch2 t1 1 dacins 0");
    const int syncs = box.Syncs();
    for (const char* line :
         {"adma/patch2 t1 2 dacins 0", "adma/sync", "adma/mute true", "adma/patch2 t1 3 dacins 0",
          "adma/mute_on_pll_loss false", "adma/mute false", "adma/sync"}) {
        box.Do(line);
    }
    EXPECT_EQ(box.Shell().Ask("adma/syncing"), "true");
    EXPECT_EQ(box.Bench().Ask("hear 4 0"), "ok silence");
    box.Bench().Ask("sync release");
    EXPECT_EQ(box.Bench().Ask("wait"), "ok");
    EXPECT_EQ(box.Bench().Ask("hear 4 0"), "ok 3 1");
    EXPECT_EQ(box.Syncs(), syncs + 1);
    box.Bench().Ask("sync release");
    EXPECT_EQ(box.Bench().Ask("wait"), "ok");
    EXPECT_EQ(box.Bench().Ask("hear 4 0"), "ok 3 3");
    EXPECT_EQ(box.Syncs(), syncs + 2);
    EXPECT_EQ(box.Shell().Ask("adma/syncing"), "false");
    EXPECT_THAT(box.Bench().Ask("state"), HasSubstr(R"("mute":false,"mute_on_pll_loss":false)"));
}

TEST(SyncHandshake, LosesNothingToCommandsThatMeetTheStartOfAChangeOver) {
    VirtualBox box;
    // Typed in one go, so that the sync thread works while the rest is carried out.
    boost::format lines(
        "adma/patch2 t1 %1% dacins 0\nadma/mute true\nadma/sync_ack\nadma/mute_on_pll_loss false\n"
        "adma/reset_fsi\nadma/patch2 t1 %1% dacins 0\nadma/mute false\nadma/mute_on_pll_loss true");
    for (int round = 1; round <= 60; ++round) {
        box.Do((lines % round).str());
        ASSERT_EQ(box.Bench().Ask("hear 4 0"), "ok 3 " + std::to_string(round));
    }
    const std::string state = box.Bench().Ask("state");
    EXPECT_THAT(state, HasSubstr(R"("syncing":false)"));
    EXPECT_THAT(state, HasSubstr(R"("mute":false,"mute_on_pll_loss":true)"));
}

TEST(SyncHandshake, WaitsForAChangeOverThatRunsAtPowerUp) {
    VirtualBox box({"--syncing"});
    EXPECT_EQ(box.Bench().Ask("hear 4 0"), "ok none");
    EXPECT_EQ(box.Syncs(), 0);
    box.Bench().Ask("sync auto");
    EXPECT_EQ(box.Bench().Ask("wait"), "ok");
    EXPECT_EQ(box.Bench().Ask("hear 4 0"), "ok silence");
    EXPECT_EQ(box.Syncs(), 2);
}

TEST(RegisterTrace, ShowsAChangeOverStepByStep) {
    VirtualBox box;
    const ScopedFolder folder;
    ASSERT_EQ(box.Bench().Ask("trace " + (folder / "trace")), "ok");
    box.Do("adma/sync");
    ASSERT_EQ(box.Bench().Ask("trace off"), "ok");
    std::vector<std::string> control;
    std::size_t tableWrites = 0;
    for (const std::string& line : AccessesIn(folder / "trace")) {
        tableWrites += line.find(" W 0x20 ") != std::string::npos ? 1 : 0;
        if (line.find(" 0x20 ") == std::string::npos) {
            control.push_back(line);
        }
    }
    EXPECT_EQ(tableWrites, 2048U);
    EXPECT_THAT(control,
                ElementsAre("0003 W 0x24 0x000c0000", "0003 W 0x38 0x00000020", "0003 R 0x18 0x00000001",
                            "0003 R 0x34 0x00000000", "0003 W 0x34 0x00000001", "0003 W 0x38 0x00000000"));
}
