#include "HostFsi.h"

#include <gtest/gtest.h>

#include <bitset>
#include <future>

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

TEST(HostFsi, ChangesTheControlRegisterInWholeSteps) {
    sim::Board board({});
    fsi::HostFsi fsi(board, "0003", 0);
    const auto toggle = [&fsi](std::uint32_t bit) {
        for (int round = 0; round < 1000; ++round) {
            fsi.SetControl(bit);
            fsi.ClearControl(bit);
        }
    };
    const auto writes = WritesOf(board, [&] {
        const auto other = std::async(std::launch::async, [&] { toggle(0x08); });
        toggle(0x10);
    });
    ASSERT_EQ(writes.size(), 4000U);
    std::bitset<32> before;
    for (const std::string& write : writes) {
        const std::bitset<32> value(std::stoul(write.substr(write.rfind(' ') + 1), nullptr, 16));
        ASSERT_EQ((value ^ before).count(), 1U) << "each step changes one thread's bit: " << write;
        before = value;
    }
}
