#include "BenchPort.h"

#include <gmock/gmock.h>

#include <boost/asio/io_service.hpp>
#include <future>

#include "Board.h"
#include "EventLoop.h"
#include "EventLoopLink.h"
#include "LineClient.h"
#include "LineConnection.h"
#include "OpenNode.h"
#include "ScopedFolder.h"

using testing::StartsWith;
using namespace std::chrono_literals;

namespace {

constexpr const char* kLoopHasNotRun =
    "error not idle after 20 ms: the event loop hasn't run what was posted to it";

class Bench : public testing::Test {
  protected:
    Bench() { mPort->Start(); }

    std::uint16_t PortNumber() const {
        const std::string address = mPort->Address();
        return static_cast<std::uint16_t>(std::stoi(address.substr(address.find(':') + 1)));
    }

    void ExpectReplies(const std::vector<std::pair<std::string, std::string>>& exchanges) {
        for (const auto& [request, reply] : exchanges) {
            EXPECT_EQ(mClient.Ask(request), reply) << request;
        }
    }

    sim::Board mBoard{{}};
    sim::EventLoopLink mLoop;
    std::unique_ptr<sim::BenchPort> mPort{new sim::BenchPort({"127.0.0.1", 0}, mBoard, mLoop)};
    LineClient mClient{PortNumber()};
};

}  // namespace

TEST_F(Bench, AnswersEachRequestAsItSays) {
    for (const char* request :
         {" \tdip \t 0xff \t\r", "set 000A 0x80004 4294967295", "irq 0004 4", "psu reading 4095",
          "psu line fault", "psu protection ok", "measure 3 0xabcdef", "pll locked", "sync auto"}) {
        EXPECT_EQ(mClient.Ask(request), "ok") << request;
    }
    ExpectReplies({{"word 0009 0x80000", "ok 0x000003fc"},
                   {"word 000a 0x80004", "ok 0xffffffff"},
                   {"word 000A 0x80000", "ok 0x00003fff"},
                   {"word 0004 0x30000", "ok 0xabcdef03"},
                   {"read 0004 0x18", "ok 0x00000014"},
                   {"read 0004 0x3C", "ok 0x00000008"}});
    EXPECT_EQ(mClient.Ask("state"), "ok " + mBoard.StateText());
    EXPECT_TRUE(mBoard.Violations().empty()) << "the bench's own accesses are none of the application's";
    const ScopedFolder folder;
    EXPECT_EQ(mClient.Ask("trace " + folder / "a b  c" + "  "), "ok");
    EXPECT_TRUE(boost::filesystem::exists(folder / "a b  c"));
}

TEST_F(Bench, RefusesABadRequestAndChangesNothing) {
    EXPECT_EQ(mClient.Ask("link 0 up 1 2 adma 3"), "ok");
    const std::string before = mBoard.StateText();
    ExpectReplies({{"\xff\x01", "error unknown request '\\xff\\x01'; 'help' names the requests"},
                   {"dip 1 2", "error usage: dip N"},
                   {"read 0005 0x18", "error the board has no node '0005'"},
                   {"set 0009 0x60002 1", "error 0009 has no word at 0x60002"},
                   {"irq 0003 32", "error ID '32' isn't a number from 0 to 31"},
                   {"irq 0010 0", "error 0010 has no interrupts"},
                   {"psu line broken", "error 'broken' isn't one of ok fault"},
                   {"measure 1 0x1000000", "error COUNT '0x1000000' isn't a number from 0 to 16777215"},
                   {"table 5 2", "error LAST '2' isn't a number from 5 to 2047"},
                   {"hear 0 512", "error SAMPLE '512' isn't a number from 0 to 511"},
                   {"link 2 down", "error '2' isn't one of 0 1"},
                   {"link 0 sideways", "error 'sideways' isn't one of up down"},
                   {"link 0 up 1", "error up needs HID and PORT"},
                   {"link 0 up 0xffffffff 1", "error HID '0xffffffff' isn't a number from 0 to 4294967294"},
                   {"link 0 up 1 2 adma", "error adma needs a number"},
                   {"link 0 up 1 2 fsi 3 fsi 3", "error fsi is given twice"},
                   {"link 0 up 1 2 colour 3", "error 'colour' isn't one of fsi adma flags"},
                   {"link 0 down adma 3", "error 'adma' isn't flags"},
                   {"netlink 123", "error HEX '123' isn't pairs of hexadecimal digits"},
                   {"netlink 0x", "error HEX '0x' isn't pairs of hexadecimal digits"},
                   {std::string("trace a\0b", 9), "error 'a\\x00b' isn't a file's name"}});
    EXPECT_EQ(mBoard.StateText(), before);
}

TEST_F(Bench, PutsLinesTogetherRepliesInOrderAndEndsAConnectionWhoseLineNeverEnds) {
    mClient.Send("di");
    mClient.Send("p 7\nhear 0 0\nnonsense\r\n\nread 0010 0x1");
    EXPECT_THAT(mClient.ReadUntil("empty; 'help' names the requests\n"),
                StartsWith("ok\nok none\nerror unknown request 'nonsense'; "));
    EXPECT_EQ(mClient.Ask("8"), "ok 0x000004d2");
    const std::string longest = "dip " + std::string(sim::LineConnection::kMaxLine - 4, '1');
    EXPECT_THAT(mClient.Ask(longest), StartsWith("error N '1111"));
    mClient.Send("dip 3\n" + longest + "1");
    EXPECT_EQ(mClient.ReadToEnd(), "ok\nerror the line is longer than 65536 bytes; the connection ends\n");
}

TEST_F(Bench, IsNotHeldUpByAClientThatNeverReads) {
    LineClient deaf(PortNumber());
    for (int n = 0; n < 1000; ++n) {
        deaf.Send("table 0 2047\n");  // fits on the way; the replies, of 22 kB each, don't
    }
    EXPECT_EQ(mClient.Ask("dip 5"), "ok");
}

TEST_F(Bench, TurnsAwayOneClientTooMany) {
    std::vector<std::unique_ptr<LineClient>> clients;
    for (unsigned n = 1; n < sim::LineServer::kMaxClients; ++n) {
        clients.push_back(std::make_unique<LineClient>(PortNumber()));
        ASSERT_EQ(clients.back()->Ask("dip 1"), "ok");
    }
    EXPECT_EQ(LineClient(PortNumber()).ReadToEnd(), "error too many clients; the connection ends\n");
    clients.back()->EndSending();
    clients.back()->ReadToEnd();
    EXPECT_EQ(LineClient(PortNumber()).Ask("dip 1"), "ok");
}

TEST_F(Bench, WaitsForTheLoopAndForInterruptsUntilTheLoopHasEnded) {
    OpenNode power(mBoard, "000A");
    power.Write(0x30, 0x1);
    boost::asio::io_service service;
    ExpectReplies({{"wait 20", kLoopHasNotRun}});
    mLoop.Attach(&service);
    ExpectReplies({{"wait 20", kLoopHasNotRun},
                   {"irq 000A 0", "ok"},
                   {"wait 20", "error not idle after 20 ms: interrupt 0 of 000A is pending"}});
    auto reply = std::async(std::launch::async, [this] { return mClient.Ask("wait"); });
    power.Write(0x34, 0x1);
    EXPECT_TRUE(RunUntil(service, [&reply] { return reply.wait_for(0s) == std::future_status::ready; }));
    EXPECT_EQ(reply.get(), "ok");
    mClient.Send("dip 1\nwait 60000\n");
    EXPECT_EQ(mClient.ReadLine(), "ok");
    mLoop.Attach(nullptr);
    EXPECT_EQ(mClient.ReadLine(), "error the application's event loop has ended");
    mLoop.Attach(&service);
    mClient.Send("dip 1\nwait 60000\n");
    EXPECT_EQ(mClient.ReadLine(), "ok");
    mPort.reset();
    EXPECT_EQ(mClient.ReadToEnd(), "") << "it stops while a client waits";
}
