#include "HostFsi.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "Board.h"
#include "MapObject.h"
#include "RegisterAccesses.h"

TEST(HostFsi, WritesTheAddressBeforeEachWordAndOnceBeforeARun) {
    sim::Board board({});
    fsi::HostFsi fsi(board, "000C", 0);
    fsi::MapObject map(fsi, 0x40000);
    const std::uint32_t run[] = {7, 8};
    const auto writes = WritesOf(board, [&] {
        map.Write(0x4, 0xF);
        fsi.WriteInternal(0x40008, run, 2);
        EXPECT_EQ(map.Read(0xC), 8U);
    });
    EXPECT_EQ(writes, (std::vector<std::string>{"000C W 0x24 0x00040004", "000C W 0x20 0x0000000f",
                                                "000C W 0x24 0x00040008", "000C W 0x20 0x00000007",
                                                "000C W 0x20 0x00000008", "000C W 0x24 0x0004000c"}));
}

TEST(HostFsi, LosesNoControlBitToAnotherThread) {
    sim::Board board({});
    fsi::HostFsi fsi(board, "0003", 0);
    // A thread that ends with its bit set against one that ends with its bit clear: the last write to the
    // register must carry both results, whichever thread makes it.
    const auto toggle = [&fsi](std::uint32_t bit, bool last) {
        for (int round = 0; round < 2000; ++round) {
            fsi.SetControl(bit);
            fsi.ClearControl(bit);
        }
        if (last) {
            fsi.SetControl(bit);
        }
    };
    std::thread other([&] { toggle(0x08, true); });
    toggle(0x10, false);
    other.join();
    const std::string state = board.StateText();
    EXPECT_NE(state.find("\"mute\":false,\"mute_on_pll_loss\":false"), std::string::npos) << state;
}
