#include <gmock/gmock.h>

#include <algorithm>
#include <boost/asio.hpp>
#include <chrono>
#include <stdexcept>

#include "Bytes.h"
#include "EventLoop.h"
#include "RouterLink.h"
#include "RouterRequests.h"

using boost::asio::ip::make_address_v4;
using boost::asio::ip::tcp;
using boost::asio::ip::udp;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr std::size_t kMebibyte = std::size_t{1024} * 1024;

/// A virtual router on 127.0.0.2 and the far end of its link on 127.0.0.1, all on the test's thread.
class VirtualRouter : public testing::Test {
  protected:
    VirtualRouter() { mLink.Start(); }

    sim::RouterEnds Ends() const {
        return {"127.0.0.2", "127.0.0.1", mAcceptor.local_endpoint().port(), mBoxUdp.local_endpoint().port(),
                0};
    }

    template <class Predicate>
    void Await(const Predicate& done) {
        if (!RunUntil(mService, done)) {
            throw std::runtime_error("the virtual router doesn't get there");
        }
    }

    void AwaitState(const std::string& part) {
        Await([this, &part] { return mLink.StateText().find(part) != std::string::npos; });
    }

    /// Takes the router's next stream; the one before it is closed.
    void Accept() {
        mStream.close();
        mAcceptor.non_blocking(true);
        Await([this] {
            boost::system::error_code failure;
            return !mAcceptor.accept(mStream, failure);
        });
        AwaitState(R"("connected":true)");
    }

    void Connect() {
        Accept();
        udp::endpoint router;
        char heartbeat[64];
        Await([this] { return mBoxUdp.available() > 0; });
        const std::size_t size = mBoxUdp.receive_from(boost::asio::buffer(heartbeat), router);
        EXPECT_EQ(HexOf({heartbeat, size}), HexOf(BytesOf("34120000 09000000 00000000")));
        EXPECT_EQ(router.address(), make_address_v4("127.0.0.2"));
        mBoxUdp.send_to(boost::asio::buffer(BytesOf("78560000 02000000 ff")), router);  // is no heartbeat
        mBoxUdp.send_to(boost::asio::buffer(BytesOf("78560000 02000000 ffffffff")), router);
        AwaitState(R"("heartbeats_received":1,"box":{"hid":22136,"type":2,"status":4294967295})");
    }

    std::string Receive(std::size_t size) {
        std::string bytes(size, '\0');
        Await([this, size] { return mStream.available() >= size; });
        boost::asio::read(mStream, boost::asio::buffer(bytes));
        return bytes;
    }

    void Send(const std::string& hex) { boost::asio::write(mStream, boost::asio::buffer(BytesOf(hex))); }

    std::string Ask(const std::string& request) { return mRequests.Handle(request); }

    boost::asio::io_service mService;
    tcp::acceptor mAcceptor{mService, {make_address_v4("127.0.0.1"), 0}};
    udp::socket mBoxUdp{mService, {make_address_v4("127.0.0.1"), 0}};
    tcp::socket mStream{mService};
    sim::RouterLink mLink{mService, Ends(), 0x1234, 9};
    sim::RouterRequests mRequests{mLink};
};

}  // namespace

TEST_F(VirtualRouter, SendsWhatEachRequestNames) {
    EXPECT_EQ(Ask("claim"), "error not connected");
    Connect();
    const struct {
        const char* mRequest;
        const char* mHex;
    } rows[] = {
        {"claim", "26030028 00000000"},
        {" bitmap\t7:0xff 0:2",
         "2f030028 22000000 78560000 ffffffff 0000 ffffffff 0000 02000000"
         " 0000 34120000 02 0700 34120000 ff"},
        {"gain 3 -100", "22030028 13000000 78560000 0300 9cffffff 00 00 1801 0000 1801 29"},
        {"gain 0xffff 0x10 -0x5 40", "22030028 13000000 78560000 ffff 10000000 00 00 fbff 0000 2800 29"},
        {"phantom 1 on", "22030028 13000000 78560000 0100 00000000 00 01 0000 0000 0000 04"},
        {"outgain 2 -2147483648", "28030028 0a000000 78560000 0200 00000080"},
        {"mute 2 on", "30034028 07000000 78560000 0200 01"},
        {"mute 2 off", "30034028 07000000 78560000 0200 00"},
        {"rate 255 0xffffffff", "6b030028 09000000 ff 00000000 ffffffff"},
        {"info", "20030028 00000000"},
        {"swap", "7b030028 04000000 34120000"},
        {"fail", "7c030028 00000000"},
        {"raw 00aAFf", "00aaff"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Ask(row.mRequest), "ok") << row.mRequest;
        const std::string bytes = BytesOf(row.mHex);
        EXPECT_EQ(HexOf(Receive(bytes.size())), HexOf(bytes)) << row.mRequest;
    }
    EXPECT_EQ(Ask("heartbeat off"), "ok");
    while (mBoxUdp.available() > 0) {
        char discarded[64];
        mBoxUdp.receive(boost::asio::buffer(discarded));
    }
    EXPECT_EQ(Ask("datagram 0102"), "ok");
    Await([this] { return mBoxUdp.available() > 0; });
    EXPECT_EQ(mBoxUdp.available(), 2U);
    EXPECT_EQ(mStream.available(), 0U) << "nothing but what was asked for";
}

TEST_F(VirtualRouter, RefusesABadRequestAndSendsNothing) {
    Connect();
    const std::pair<std::string, std::string> rows[] = {
        {"", "error the line is empty; 'help' names the requests"},
        {"Claim\x01", "error unknown request 'Claim\\x01'; 'help' names the requests"},
        {"claim 1", "error usage: claim"},
        {"bitmap", "error usage: bitmap AUDIOPORT:ROUTE ..."},
        {"bitmap 0:1 2", "error '2' isn't AUDIOPORT:ROUTE"},
        {"bitmap 0:1 65536:1", "error AUDIOPORT '65536' isn't a number from 0 to 65535"},
        {"bitmap 0:256", "error ROUTE '256' isn't a number from 0 to 255"},
        {"gain 1 2 3", "error LEVEL needs HEADROOM beside it"},
        {"gain 1 2147483648", "error CB '2147483648' isn't a number from -2147483648 to 2147483647"},
        {"gain 1 2 32768 0", "error LEVEL '32768' isn't a number from -32768 to 32767"},
        {"gain -1 2", "error PORT '-1' isn't a number from 0 to 65535"},
        {"rate 256", "error ID '256' isn't a number from 0 to 255"},
        {"rate 1 4294967296", "error WAIT_MS '4294967296' isn't a number from 0 to 4294967295"},
        {"datagram 0g", "error HEX '0g' isn't pairs of hexadecimal digits"},
        {"read maybe", "error 'maybe' isn't one of off on"},
        {"datagram " + std::string(140000, '0'), "error the datagram can't go: Message too long"},
    };
    for (const auto& [request, reply] : rows) {
        EXPECT_EQ(Ask(request), reply) << request.substr(0, 40);
    }
    EXPECT_THAT(Ask("help"), AllOf(StartsWith("ok "), HasSubstr("; gain PORT CB [LEVEL HEADROOM]; ")));
    EXPECT_EQ(Ask("raw 77"), "ok");
    EXPECT_EQ(HexOf(Receive(1)), "77") << "the first byte since the link came up";
}

TEST_F(VirtualRouter, DialsAgainASecondAfterALossAndNotWhileItIsDisconnected) {
    Accept();
    const auto lost = std::chrono::steady_clock::now();
    mStream.close();
    AwaitState(R"("connected":false,"connections":1,)");
    Accept();
    EXPECT_GE(std::chrono::steady_clock::now() - lost, std::chrono::seconds(1));
    Send("26030028 00000000 26030028 ffffffff");
    AwaitState(R"("connected":false,"connections":2,)");
    EXPECT_THAT(Ask("state"), HasSubstr(R"("received":[{"name":"IO_ACTIVE_ROUTER"}]})"));
    EXPECT_EQ(Ask("disconnect"), "ok");
    EXPECT_EQ(Ask("swap"), "error not connected");
    const auto before = std::chrono::steady_clock::now();
    Await([before] { return std::chrono::steady_clock::now() - before > std::chrono::milliseconds(1200); });
    EXPECT_THAT(Ask("state"), StartsWith(R"(ok {"connected":false,"connections":2,)"));
    EXPECT_EQ(Ask("connect"), "ok");
    EXPECT_EQ(Ask("connect"), "ok");
    Accept();
    EXPECT_THAT(Ask("state"), StartsWith(R"(ok {"connected":true,"connections":3,)"));
}

TEST_F(VirtualRouter, KeepsTheLastHundredCommandsAndNotMuchOfTheirText) {
    Accept();
    for (int n = 0; n < 100; ++n) {
        Send("e7030028 01000000 00");
    }
    Send("e6030028 00000000");
    AwaitState(R"({"name":"UNKNOWN","id":998,"length":0}]})");
    const auto objects = [this] {
        const std::string state = mLink.StateText();
        return std::count(state.begin(), state.end(), '{');
    };
    EXPECT_EQ(objects(), 102) << "a hundred, the box and the whole";

    const std::string info =
        BytesOf("21030028 0900c000 01000000 00 0000c000") + std::string(12 * kMebibyte, 'x');
    const std::string twoAndOne = info + info + BytesOf("e5030028 00000000");
    bool isSent = false;
    boost::asio::async_write(mStream, boost::asio::buffer(twoAndOne),
                             [&isSent](const auto&, std::size_t) { isSent = true; });
    Await([&isSent] { return isSent; });
    mStream.close();
    Accept();  // when it dials again, it has read all of the stream before
    EXPECT_EQ(objects(), 4) << "one of the long ones and the last";
    AwaitState(R"({"name":"UNKNOWN","id":997,"length":0}]})");
}

TEST_F(VirtualRouter, LeavesTheStreamAloneWhileReadingIsOff) {
    Accept();
    EXPECT_EQ(Ask("read off"), "ok");
    Send("26030028 00000000");
    AwaitState(R"("heartbeats_sent":3,)");
    EXPECT_THAT(mLink.StateText(), HasSubstr(R"("received":[]})"));
    EXPECT_EQ(Ask("read on"), "ok");
    AwaitState(R"("received":[{"name":"IO_ACTIVE_ROUTER"}]})");
}

TEST_F(VirtualRouter, BoundsWhatWaitsForABoxThatDoesNotRead) {
    Accept();
    const std::string flood = "raw " + std::string(2 * kMebibyte, 'f');
    std::string reply;
    Await([&] {
        reply = Ask(flood);
        return reply != "ok";
    });
    EXPECT_EQ(reply, "error the box doesn't read: more than 16777216 bytes would wait for it");
    const std::string before = mLink.StateText();
    Await([&] { return mLink.StateText() != before; });  // heartbeats go on
    EXPECT_EQ(Ask("disconnect"), "ok");
    EXPECT_EQ(Ask("connect"), "ok");
    EXPECT_EQ(Ask("claim"), "error not connected");
    Accept();
    EXPECT_EQ(Ask("claim"), "ok");
    EXPECT_EQ(Receive(8), BytesOf("26030028 00000000")) << "nothing of the stream before it";
}
