#include <gmock/gmock.h>
#include <poll.h>

#include <boost/asio/ip/udp.hpp>
#include <chrono>
#include <sstream>

#include "AddressPlan.h"
#include "Bytes.h"
#include "CapturedLog.h"
#include "EventLoop.h"
#include "NetlinkSender.h"
#include "RemoteDevice.h"
#include "TalvoRouterLinkManager.h"

using testing::ElementsAre;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

/// Its addresses are 127.0.x.y, which this machine has.
constexpr std::uint32_t kLoopbackHid = 0x3F800;

/// The far end of a link, on an address of this machine.
class FarEnd {
  public:
    explicit FarEnd(const char* local, std::uint16_t port = 0) : mSocket(mIo, EndpointOf(local, port)) {}

    std::uint16_t Port() const { return mSocket.local_endpoint().port(); }

    void Send(const char* to, std::uint16_t port, const std::string& bytes) {
        mSocket.send_to(boost::asio::buffer(bytes), EndpointOf(to, port));
    }

    /// A datagram that comes within `wait`, in hexadecimal; "" for none.
    std::string Receive(std::chrono::milliseconds wait) {
        pollfd waiting{mSocket.native_handle(), POLLIN, 0};
        if (poll(&waiting, 1, static_cast<int>(wait.count())) <= 0) {
            return {};
        }
        std::string bytes(100, '\0');
        bytes.resize(mSocket.receive(boost::asio::buffer(bytes)));
        return HexOf(bytes);
    }

  private:
    using Udp = boost::asio::ip::udp;

    static Udp::endpoint EndpointOf(const char* address, std::uint16_t port) {
        return {boost::asio::ip::make_address(address), port};
    }

    boost::asio::io_service mIo;
    Udp::socket mSocket;
};

class LinkManager : public testing::Test {
  protected:
    void SetUp() override {
        mPorts.mInterfaces = {"brtest0", "brtest1"};
        mPorts.mSettling = 0ms;
        mPorts.mRetry = 0ms;
        mPorts.mHeartbeatsIn = FarEnd("127.0.9.1").Port();
        mPorts.mHeartbeatsOut = mFarEnd.Port();
        mManager = std::make_unique<TalvoRouterLinkManager>(
            mIo, [] { return 0x11223344UL; }, [] { return 0x1F2AUL; }, 2, mPorts);
        mManager->Changed().connect([this](unsigned char port, unsigned long local, unsigned char type,
                                           unsigned long remote, unsigned long hid) {
            std::ostringstream text;
            text << int{port} << std::hex << " " << local << " " << int{type} << " " << ntohl(remote) << " "
                 << hid;
            mChanges.push_back(text.str());
        });
        if (!RunUntil(mIo, [this] { return mLog.Count("Scanning...") == 1; }) ||
            !Report({0, kLoopbackHid, 9, 0, 8, 3})) {
            GTEST_SKIP() << "no right to send netlink datagrams";
        }
    }

    bool Report(const std::vector<std::optional<std::uint32_t>>& values) const {
        return mNetlink.Send(NetlinkSender::Report(values));
    }

    void Beat(const char* bytes, const char* to = "127.0.9.1") {
        mFarEnd.Send(to, mPorts.mHeartbeatsIn, BytesOf(bytes));
    }

    /// Sends heartbeats, all the time, until `done` holds.
    template <class Predicate>
    bool BeatUntil(const char* bytes, const Predicate& done, const char* to = "127.0.9.1") {
        auto next = Clock::now();
        return RunUntil(mIo, [&] {
            if (Clock::now() >= next) {
                Beat(bytes, to);
                next += 50ms;
            }
            return done();
        });
    }

    CapturedLog mLog;
    boost::asio::io_service mIo;
    RouterPorts mPorts;
    FarEnd mFarEnd{"127.0.9.254"};
    NetlinkSender mNetlink;
    std::vector<std::string> mChanges;
    std::unique_ptr<TalvoRouterLinkManager> mManager;
};

constexpr const char* kBeat = "67450000 01000000 00000000";

}  // namespace

TEST(AddressPlan, GivesBothEndsOfALinkTheirAddresses) {
    const auto plan = [](unsigned link, std::uint32_t hid, std::uint32_t port) {
        const LinkAddresses addresses = PlanAddresses(link, hid, port);
        return std::make_pair(addresses.mLocal, addresses.mRemote);
    };
    EXPECT_EQ(plan(0, 0x5000, 2), std::make_pair(0x0A000201U, 0x0A0002FEU));
    EXPECT_EQ(plan(1, 0x5000, 2), std::make_pair(0x0A002202U, 0x0A0022FEU));
    EXPECT_EQ(plan(1, 1, 2), std::make_pair(0x2202U, 0x22FEU));
    EXPECT_EQ(plan(0, 0xFFFFFFFE, 0xFFFFFF), std::make_pair(0xFFFFFF01U, 0xFFFFFFFEU));
}

TEST(RemoteDevices, AreReportedByTheirTypeAndLostOnce) {
    using Change = RemoteDevice::Change;
    RemoteDevice device;
    EXPECT_EQ(device.OnSilence(), Change::None);
    EXPECT_EQ(device.OnHeartbeat(7, 1), Change::Found);
    EXPECT_EQ(device.OnHeartbeat(7, 1), Change::None);
    EXPECT_EQ(device.OnHeartbeat(7, 3), Change::Remembered);
    EXPECT_EQ(device.OnHeartbeat(7, 6), Change::Found);
    EXPECT_EQ(device.OnSilence(), Change::Lost);
    EXPECT_EQ(device.OnSilence(), Change::None);
    EXPECT_EQ(device.OnHeartbeat(7, 5), Change::Found);
}

TEST_F(LinkManager, SpeaksOnlyWhenSpokenToAndLosesASilentRouterOnce) {
    ASSERT_TRUE(RunUntil(mIo, [this] { return mManager->GetLocalIp(0) != 0; }));
    EXPECT_EQ(mManager->GetLocalIp(0), 0x7F000901U);
    EXPECT_EQ(mManager->GetRemoteIp(0), 0x7F0009FEU);
    EXPECT_EQ(mManager->GetAdmaEndpointId(0, 0s), 3U);
    EXPECT_EQ(mManager->GetAdmaEndpointId(1, 0s), 0U);
    EXPECT_EQ(mFarEnd.Receive(400ms), "") << "the device never speaks first";

    ASSERT_TRUE(BeatUntil(kBeat, [this] { return !mChanges.empty(); }));
    EXPECT_TRUE(mManager->IsHeartbeatSeen(0));
    EXPECT_EQ(BytesOf(mFarEnd.Receive(2s)), BytesOf("2a1f0000 02000000 44332211"));
    mManager->SetPaused(true);
    ASSERT_TRUE(BeatUntil(kBeat, [this] { return mLog.Count("Heartbeat is paused.\n") > 0; }));

    // Datagrams of other sizes are no heartbeats, however many come.
    Beat(kBeat);
    const auto last = Clock::now();
    ASSERT_TRUE(BeatUntil("6745", [this] { return mChanges.size() > 1; }));
    EXPECT_LT(Clock::now() - last, 1500ms);
    EXPECT_GE(Clock::now() - last, 1s);
    EXPECT_THAT(mChanges, ElementsAre("0 7f000901 1 7f0009fe 4567", "0 7f000901 1 0 4567"));
    EXPECT_FALSE(mManager->IsHeartbeatSeen(0));
    ASSERT_TRUE(BeatUntil(kBeat, [this] { return mChanges.size() == 3; })) << "found anew";
    EXPECT_EQ(mLog.Count("Remote device lost: 127.0.9.254\n"), 1U);
}

TEST_F(LinkManager, GivesALinkItsAddressAnewWhenItComesBack) {
    const std::string setIp = "Set IP Cmd: ifconfig brtest0 127.0.9.1 netmask 255.255.255.0\n";
    ASSERT_TRUE(BeatUntil(kBeat, [this] { return mChanges.size() == 1; }));
    ASSERT_TRUE(Report({0, kLoopbackHid, 9, 0}));
    ASSERT_TRUE(Report({0, LinkReport::kLinkDown, 9, 4}));
    ASSERT_TRUE(RunUntil(mIo, [this] { return mChanges.size() == 2; })) << "lost at once";
    EXPECT_EQ(mLog.Count(setIp), 1U) << "a repeated report changes nothing";
    EXPECT_EQ(mLog.Count("Bring up Cmd"), 0U) << "the flag says no";
    ASSERT_TRUE(Report({0, LinkReport::kLinkDown, 9, 0}));
    ASSERT_TRUE(RunUntil(mIo, [this] { return mLog.Count("Bring up Cmd: ifconfig brtest0 up\n") == 1; }));
    ASSERT_TRUE(Report({0, kLoopbackHid, 9, 0}));
    ASSERT_TRUE(BeatUntil(kBeat, [this] { return mChanges.size() == 3; }));
    EXPECT_EQ(mLog.Count(setIp), 2U);
    ASSERT_TRUE(Report({0, kLoopbackHid, 10, 0}));
    ASSERT_TRUE(RunUntil(mIo, [this] { return mManager->GetLocalIp(0) == 0x7F000A01; }));
    const std::string joined = "HB receiving thread (Port 0) still running on new link, forcibly joinning\n";
    ASSERT_TRUE(RunUntil(mIo, [&] { return mLog.Count(joined) == 1; }));
}

TEST_F(LinkManager, ReceivesOnceItsAddressIsToBeHad) {
    const char* local = "127.0.41.2";
    auto inTheWay = std::make_unique<FarEnd>(local, mPorts.mHeartbeatsIn);
    ASSERT_TRUE(Report({1, kLoopbackHid, 9, 0}));
    ASSERT_TRUE(RunUntil(mIo, [this] { return mLog.Count("Unable to bind Link 1 to Port ") == 2; }));
    inTheWay.reset();
    ASSERT_TRUE(BeatUntil(
        kBeat, [this] { return !mChanges.empty(); }, local));
    EXPECT_THAT(mChanges, ElementsAre("1 7f002902 1 7f0029fe 4567"));
    EXPECT_EQ(mLog.Count("still running"), 0U);
    const std::size_t tries = mLog.Count("Set IP Cmd: ifconfig brtest1 ");
    ASSERT_TRUE(Report({1, LinkReport::kLinkDown, 9, 4}));
    ASSERT_TRUE(RunUntil(mIo, [this] { return mChanges.size() == 2; }));
    EXPECT_EQ(mLog.Count("Set IP Cmd: ifconfig brtest1 "), tries)
        << "none while it receives, none while down";
}

TEST_F(LinkManager, EndsAtOnceWhateverItWaitsFor) {
    ASSERT_TRUE(BeatUntil(kBeat, [this] { return mChanges.size() == 1; }));
    const auto begin = Clock::now();
    mManager.reset();
    EXPECT_LT(Clock::now() - begin, 900ms);
    mIo.restart();
    mIo.poll();
    EXPECT_EQ(mChanges.size(), 2U) << "the loss is told";
}

TEST_F(LinkManager, RefusesLinksThatAreNone) {
    EXPECT_EQ(mManager->GetLocalIp(2), 0U);
    EXPECT_FALSE(mManager->IsHeartbeatSeen(7));
    EXPECT_EQ(mManager->GetAdmaEndpointId(2, 0s), 0U);
    EXPECT_EQ(mLog.Count("Invalid port number 2, must be in the range [0,2)\n"), 1U);
    EXPECT_EQ(mLog.Count("Port < mFsiInfo.size()"), 1U);
}
