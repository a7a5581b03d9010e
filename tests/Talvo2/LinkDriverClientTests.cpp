#include "LinkDriverClient.h"

#include <gmock/gmock.h>
#include <linux/netlink.h>

#include "Bytes.h"
#include "CapturedLog.h"
#include "NetlinkSender.h"

using testing::ElementsAre;

namespace {

constexpr std::uint32_t kDown = LinkReport::kLinkDown;
constexpr auto kNone = std::nullopt;

class DriverClient : public testing::Test {
  protected:
    void SetUp() override {
        mLog.Enable(Feature::CommsDebug);
        if (!mSender.Send(NetlinkSender::Report({}))) {
            GTEST_SKIP() << "no right to send netlink datagrams";
        }
        mClient.Receive(mReports);
    }

    /// The reports that one datagram leads to, as "index hid port flags fsi adma".
    std::vector<std::string> ReportsOf(const std::string& datagram) {
        EXPECT_TRUE(mSender.Send(datagram));
        EXPECT_TRUE(mClient.Receive(mReports));
        std::vector<std::string> texts;
        for (const LinkReport& report : mReports) {
            std::string text;
            for (const std::uint32_t value : {report.mIndex, report.mHid, report.mPort, report.mFlags}) {
                text += (value == kDown ? "down" : std::to_string(value)) + " ";
            }
            text += (report.mFsiId ? std::to_string(*report.mFsiId) : "-") + std::string(" ");
            text += report.mAdmaEndpointId ? std::to_string(*report.mAdmaEndpointId) : "-";
            texts.push_back(text);
        }
        return texts;
    }

    CapturedLog mLog;
    NetlinkSender mSender;
    LinkDriverClient mClient{2};
    std::vector<LinkReport> mReports;
};

}  // namespace

TEST_F(DriverClient, KeepsOfEachLinkWhatAMessageLacks) {
    EXPECT_THAT(ReportsOf(NetlinkSender::Report({kNone, 5})), ElementsAre()) << "of no link yet";
    EXPECT_THAT(ReportsOf(NetlinkSender::Report({0, 100, 2, 4, 8, 3})), ElementsAre("0 100 2 4 8 3"));
    EXPECT_THAT(ReportsOf(NetlinkSender::Report({1, 200})), ElementsAre("1 200 0 0 - -"));
    EXPECT_THAT(ReportsOf(NetlinkSender::Report({kNone, kNone, 7})), ElementsAre("1 200 7 0 - -"));
    EXPECT_THAT(ReportsOf(NetlinkSender::Report({0, kDown})), ElementsAre("0 down 2 4 8 3"));
    const std::string datagram = NetlinkSender::Report({0, 1, 1, 0}) + NetlinkSender::Report({1, 2, 2, 0}) +
                                 NetlinkSender::Report({0, 3}, 0x1234);
    EXPECT_THAT(ReportsOf(datagram), ElementsAre("0 3 1 0 8 3", "1 2 2 0 - -"))
        << "the last values of several messages";
}

TEST_F(DriverClient, PassesOverWhatIsNoReport) {
    const std::string good = NetlinkSender::Report({0, 9, 1, 0});
    EXPECT_THAT(ReportsOf(good), ElementsAre("0 9 1 0 - -"));
    std::string shortAttribute = NetlinkSender::Report({0, 5});
    shortAttribute[sizeof(nlmsghdr) + 4] = 5;  // one byte where a word is due
    const struct {
        const char* mName;
        std::string mDatagram;
    } rows[] = {
        {"an error", BytesOf("24000000 0200 0000 00000000 00000000 edffffff") + std::string(16, '\0')},
        {"an error cut short", BytesOf("12000000 0200 0000 00000000 00000000 edff")},
        {"an index out of range", NetlinkSender::Report({2, 5, 1, 0})},
        {"the protocol's own end", NetlinkSender::Report({0, 5}, NLMSG_DONE)},
        {"no attributes", NetlinkSender::Report({})},
        {"a short attribute", shortAttribute},
        {"a header that promises more", good.substr(0, good.size() - 4)},
        {"half a header", good.substr(0, 9)},
        {"nothing but a header", BytesOf("10000000 1000 0000 00000000 00000000")},
        {"a header of no length", std::string(16, '\0')},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(ReportsOf(row.mDatagram), ElementsAre()) << row.mName;
    }
    EXPECT_EQ(mLog.Count("Error reply returned: No such device\n"), 1U);
    EXPECT_EQ(mLog.Count("Ignoring report of unknown T2link 2\n"), 1U);
    EXPECT_GE(mLog.Count("Failed to parse reply to netlink message: "), 1U);
    EXPECT_THAT(ReportsOf(NetlinkSender::Report({0})), ElementsAre("0 9 1 0 - -")) << "as it was";
}
