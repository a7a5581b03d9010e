// Bytes as a datagram of the link driver.

#include <linux/genetlink.h>
#include <linux/netlink.h>

#include <algorithm>
#include <array>
#include <vector>

#include "FuzzTarget.h"
#include "LinkDriverClient.h"

namespace {

constexpr unsigned kLinks = 2;
constexpr std::uint16_t kWordSize = NLA_HDRLEN + sizeof(std::uint32_t);

struct Attribute {
    std::uint16_t mSize;
    std::uint16_t mType;
    std::uint32_t mValue;
};

/// A report that tells all there is of a link.
struct WholeReport {
    nlmsghdr mHeader{sizeof(WholeReport), NLMSG_MIN_TYPE, 0, 0, 0};
    genlmsghdr mGeneric{1, 1, 0};
    std::array<Attribute, 6> mAttributes{{{kWordSize, 1, 1},
                                          {kWordSize, 2, 20},
                                          {kWordSize, 3, 30},
                                          {kWordSize, 4, 40},
                                          {kWordSize, 5, 50},
                                          {kWordSize, 6, 60}}};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    LinkDriverClient client(kLinks);
    std::vector<LinkReport> reports;
    std::vector<unsigned char> datagram(data, data + size);
    client.Parse(datagram.data(), datagram.size(), reports);
    Require(reports.size() <= kLinks, "a link is reported once");
    const bool isSorted = std::is_sorted(
        reports.begin(), reports.end(),
        [](const LinkReport& left, const LinkReport& right) { return left.mIndex <= right.mIndex; });
    Require(isSorted, "reports stand in the order of the links");
    for (const LinkReport& report : reports) {
        Require(report.mIndex < kLinks, "only the links that there are get reported");
    }

    WholeReport whole;
    client.Parse(reinterpret_cast<unsigned char*>(&whole), sizeof whole, reports);
    Require(reports.size() == 1, "a good report after a bad one is read");
    const LinkReport& report = reports.front();
    Require(report.mIndex == 1 && report.mHid == 20 && report.mPort == 30 && report.mFlags == 40 &&
                report.mFsiId == 50U && report.mAdmaEndpointId == 60U,
            "a whole report leaves nothing of what came before");
    return 0;
}
