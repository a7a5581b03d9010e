#include <gmock/gmock.h>
#include <sys/ioctl.h>

#include <boost/filesystem.hpp>
#include <stdexcept>

#include "Board.h"
#include "CapturedLog.h"
#include "EventLoop.h"
#include "Interruptable.h"
#include "RegisterAccesses.h"
#include "Registers.h"
#include "UioBus.h"
#include "UioInterruptController.h"

using testing::ElementsAre;

namespace {

class Device : public fsi::HostFsi, public fsi::Interruptable {
  public:
    Device(fsi::IFsiBus& bus, const std::string& identity, const std::vector<unsigned>& ids)
        : HostFsi(bus, identity, 0), Interruptable(*this, ids) {}

    using HostFsi::Descriptor;
    using HostFsi::Identity;
};

}  // namespace

TEST(Interruptable, AcknowledgesEachIdBeforeItsSignalInTheOrderOfDeclaration) {
    sim::Board board({});
    Device device(board, "0004", {3, 1});
    const auto pending = [&device] {
        return std::to_string(device.Read(fsi::registers::kInterruptStatus));
    };
    std::vector<std::string> events;
    device.Connect(1, [&] { events.push_back("one pending " + pending()); });
    device.Connect(3, [&] { events.push_back("three pending " + pending()); });
    for (const unsigned id : {1U, 3U, 4U}) {
        board.RaiseInterrupt("0004", id);
    }
    device.HandleInterrupts();
    EXPECT_THAT(events, ElementsAre("three pending 18", "one pending 16")) << "4 has no entry and stays";
    device.SetEnabled(false);
    board.RaiseInterrupt("0004", 1);
    device.HandleInterrupts();
    EXPECT_EQ(events.size(), 2U) << "disabled, it emits nothing";
    EXPECT_EQ(pending(), "16") << "and acknowledges";
}

TEST(Interruptable, EnablesItsIdsWhileItLivesAndRefusesOneBeyondTheRegister) {
    sim::Board board({});
    const auto writes = WritesOf(board, [&] {
        const Device device(board, "0004", {0, 4});
        const Device none(board, "0003", {});
        EXPECT_THROW(Device(board, "0007", {0, 32}), std::out_of_range);
    });
    EXPECT_THAT(writes, ElementsAre("0004 W 0x30 0x00000011", "0003 W 0x30 0x00000000",
                                    "0003 W 0x30 0x00000000", "0004 W 0x30 0x00000000"));
}

TEST(UioInterruptController, ServesNothingOnceItIsGone) {
    sim::Board board({});
    boost::asio::io_service io;
    int served = 0;
    {
        const auto device = std::make_shared<Device>(board, "0004", std::vector<unsigned>{2});
        device->Connect(2, [&] { ++served; });
        const fsi::UioInterruptController controller(io, {device});
        board.RaiseInterrupt("0004", 2);
        // The thread takes the count off the descriptor and then posts; the controller joins it.
        for (int waiting = 1; waiting != 0;) {
            ASSERT_EQ(ioctl(device->Descriptor(), FIONREAD, &waiting), 0);
        }
    }
    io.poll();
    EXPECT_EQ(served, 0);
}

TEST(UioInterruptController, DropsADescriptorThatEndsAndServesTheOthers) {
    // The node of "0007" is a plain file: it is always readable, and ends.
    const ScopedFolder folder;
    boost::filesystem::create_directories(folder / "class/uio0/maps/map0");
    boost::filesystem::create_directories(folder / "dev");
    WriteFile(folder / "class/uio0/name", "0007");
    WriteFile(folder / "class/uio0/maps/map0/size", "1000");
    WriteFile(folder / "dev/uio0", std::string(4096, '\0'));
    fsi::UioBus bus(folder / "class", folder / "dev");
    sim::Board board({});
    CapturedLog log;
    boost::asio::io_service io;
    const auto ending = std::make_shared<Device>(bus, "0007", std::vector<unsigned>{0});
    const auto healthy = std::make_shared<Device>(board, "0003", std::vector<unsigned>{0});
    int served = 0;
    healthy->Connect(0, [&] { ++served; });
    const fsi::UioInterruptController controller(io, {ending, healthy});
    ASSERT_TRUE(RunUntil(io, [&] { return log.Count("no more interrupts from FSI '0007'") == 1; }));
    board.RaiseInterrupt("0003", 0);
    ASSERT_TRUE(RunUntil(io, [&] { return served == 1; }));
    EXPECT_EQ(log.Count("no more interrupts"), 1U);
}
