#include "LinkDriver.h"

#include <gmock/gmock.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>

#include "BenchRequests.h"
#include "Board.h"
#include "Bytes.h"

using testing::HasSubstr;

namespace {

/// A generic netlink socket of this process, at an address as the application's library chooses it.
class ApplicationSocket {
  public:
    explicit ApplicationSocket(std::uint32_t number = 0)
        : mDescriptor(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_GENERIC)) {
        constexpr timeval kPatience{5, 0};
        setsockopt(mDescriptor, SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
        sockaddr_nl address{};
        address.nl_family = AF_NETLINK;
        address.nl_pid = static_cast<std::uint32_t>(getpid()) + (number << 22);
        EXPECT_EQ(bind(mDescriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    ~ApplicationSocket() { close(mDescriptor); }
    ApplicationSocket(const ApplicationSocket&) = delete;
    ApplicationSocket& operator=(const ApplicationSocket&) = delete;

    /// The next datagram in hexadecimal digits; "none" where none comes.
    std::string Receive(int flags = 0) const {
        std::array<char, 4096> bytes{};
        const ssize_t size = recv(mDescriptor, bytes.data(), bytes.size(), flags);
        return size < 0 ? "none" : HexOf({bytes.data(), static_cast<std::size_t>(size)});
    }

  private:
    int mDescriptor;
};

class BenchLinks : public testing::Test {
  protected:
    void SetUp() override {
        const ApplicationSocket anybody;
        if (Ask("netlink 00") == "error the datagram can't go: Operation not permitted") {
            GTEST_SKIP() << "no right to send netlink datagrams";
        }
    }

    std::string Ask(const std::string& line) { return mRequests.Handle(line).mReply; }

    sim::Board mBoard{{}};
    sim::BenchRequests mRequests{mBoard};
};

/// A report on the wire: the two headers, of 20 bytes, and these attributes.
std::string Report(const std::string& attributes) {
    const std::string bytes = BytesOf(attributes);
    return HexOf({static_cast<char>(20 + bytes.size())}) + "000000100000000000000000000000" + "01010000" +
           HexOf(bytes);
}

const std::string kUp = Report("0800010000000000 0800020002500000 0800030002000000");
const std::string kDown = Report("0800010001000000 08000200ffffffff");

}  // namespace

TEST_F(BenchLinks, AreReportedWithTheGivenAttributesAlone) {
    const struct {
        const char* mLine;
        std::string mDatagram;
    } rows[] = {
        {"link 0 up 0x5002 2", kUp},
        {"link 1 down", kDown},
        {"link 0 down flags 4", Report("0800010000000000 08000200ffffffff 0800040004000000")},
        {"link 1 up 0xfffffffe 0 adma 0 flags 0xffffffff fsi 7",
         Report("0800010001000000 08000200feffffff 0800030000000000 08000400ffffffff 0800050007000000"
                " 0800060000000000")},
        {"netlink 00", "00"},
        {"netlink A5ff00", "a5ff00"},
    };
    const ApplicationSocket application;
    for (const auto& row : rows) {
        EXPECT_EQ(Ask(row.mLine), "ok") << row.mLine;
        EXPECT_EQ(application.Receive(), row.mDatagram) << row.mLine;
    }
    EXPECT_THAT(Ask("state"), HasSubstr(R"("links":[{"up":false,"hid":0,"port":0,"fsi":0,"adma":0},)"
                                        R"({"up":true,"hid":4294967294,"port":0,"fsi":7,"adma":0}]})"));
}

TEST_F(BenchLinks, AreToldToEachApplicationThatStarts) {
    EXPECT_EQ(Ask("netlink 00"), "error the application has no netlink socket");
    EXPECT_EQ(Ask("link 0 up 9 9"), "ok");
    EXPECT_EQ(Ask("link 0 up 0x5002 2"), "ok");
    {
        const ApplicationSocket first;
        EXPECT_EQ(first.Receive(), kUp) << "the last state, and of link 1 nothing";
        EXPECT_EQ(Ask("link 1 down"), "ok");
        EXPECT_EQ(first.Receive(), kDown) << "the news alone, for the rest is known";
    }
    const ApplicationSocket second(3);
    EXPECT_EQ(second.Receive(), kUp);
    EXPECT_EQ(second.Receive(), kDown);
}
