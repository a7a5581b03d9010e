#include "UdpSocket.h"

#include "Ipv4Address.h"
#include "SocketFixture.h"

namespace {

constexpr std::uint32_t kLoopback = INADDR_LOOPBACK;

class Receiver : public UdpSocket {
  public:
    using UdpSocket::UdpSocket;
    void OnRawData(const char* data, std::size_t size, const sockaddr* from, unsigned /*fromSize*/) override {
        mDatagrams.emplace_back(data, size);
        mFrom = Ipv4Address(*reinterpret_cast<const sockaddr_in*>(from)).Port();
    }
    std::vector<std::string> mDatagrams;
    std::uint16_t mFrom = 0;
};

class Udp : public HandlerFixture {};

TEST_F(Udp, DatagramsComeOneByOneUpToTheirGreatestSize) {
    Receiver receiver(mHandler);
    ASSERT_EQ(receiver.Bind(kLoopback, 0), 0);
    mHandler.Add(&receiver);
    UdpSocket sender(mHandler);
    std::vector<std::string> expected;
    for (const std::size_t size : {0U, 1U, 2048U, 3000U}) {
        const std::string bytes(size, static_cast<char>('a' + size % 26));
        EXPECT_TRUE(sender.SendToBuf(kLoopback, receiver.Port(), bytes.data(), bytes.size()));
        expected.push_back(bytes.substr(0, UdpSocket::kMaxDatagram));
    }
    EXPECT_TRUE(RunUntil([&] { return receiver.mDatagrams.size() >= expected.size(); }));
    EXPECT_EQ(receiver.mDatagrams, expected);
    EXPECT_EQ(receiver.mFrom, sender.Port());
}

TEST_F(Udp, ATakenPortLeavesTheNextOnesWhereTheyAreAllowed) {
    Receiver first(mHandler);
    ASSERT_EQ(first.Bind(kLoopback, 0), 0);
    Receiver second(mHandler);
    EXPECT_EQ(second.Bind(kLoopback, first.Port()), -1);
    EXPECT_EQ(Logged("bind"), 1U);
    ASSERT_EQ(second.Bind(kLoopback, first.Port(), 20), 0);
    EXPECT_GT(second.Port(), first.Port());
}

}  // namespace
