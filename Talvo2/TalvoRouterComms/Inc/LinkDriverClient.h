#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

struct nl_sock;
struct nlmsghdr;

/// What the link driver last told of a link.
struct LinkReport {
    static constexpr std::uint32_t kLinkDown = 0xFFFFFFFF;  ///< as the Hid

    std::uint32_t mIndex = 0xFFFFFFFF;
    std::uint32_t mHid = kLinkDown;  ///< of the router at the other end
    std::uint32_t mPort = 0;         ///< of that router
    std::uint32_t mFlags = 0;
    std::optional<std::uint32_t> mFsiId;
    std::optional<std::uint32_t> mAdmaEndpointId;
};

/// Listens to the router links' kernel driver over generic netlink. Without a driver it stays silent. One
/// thread.
class LinkDriverClient {
  public:
    /// Joins the driver's group, and asks for the state of links 0 to `linkCount` - 1.
    explicit LinkDriverClient(unsigned linkCount);
    ~LinkDriverClient();
    LinkDriverClient(const LinkDriverClient&) = delete;
    LinkDriverClient& operator=(const LinkDriverClient&) = delete;

    /// To poll for input; -1 where the system has no generic netlink.
    int GetFd() const;

    /// Reads what has come in one datagram: true when messages were read. `reports` has one report for each
    /// link that they spoke of, the last values of each; what a message lacks is as it was before. An index
    /// out of range is logged and passed over, and so is what can't be parsed.
    bool Receive(std::vector<LinkReport>& reports);

    /// What Receive does with a datagram's bytes, once it has them. `datagram` is aligned as a word is.
    void Parse(unsigned char* datagram, std::size_t size, std::vector<LinkReport>& reports);

  private:
    int ResolveDriver();
    void QueryAll();
    bool HasMore() const;
    void Query(unsigned link);
    void ParseMessage(nlmsghdr& message, std::vector<bool>& touched);

    nl_sock* mSocket = nullptr;
    int mFamily = 0;                ///< the driver's; 0 or less while there is none
    std::vector<LinkReport> mLast;  ///< by link
    bool mOwesQuery = false;
    std::uint32_t mIndex;  ///< of the message before
};
