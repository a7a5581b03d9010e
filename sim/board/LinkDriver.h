#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "LinkSpec.h"

namespace sim {

/// The state of a router link as the link driver tells it.
struct LinkState {
    bool mUp = false;
    std::uint32_t mHid = 0;
    std::uint32_t mPort = 0;
    std::uint32_t mFsi = 0;
    std::uint32_t mAdma = 0;
};

/// The router links' kernel driver: reports to the application by generic netlink datagrams to its own
/// socket, which is one of this process. It remembers the last state of each link, and tells it when that
/// socket appears. Any thread; one of its own watches for the socket, from the first state on.
class LinkDriver {
  public:
    static constexpr std::size_t kLinks = 2;
    using States = std::array<LinkState, kLinks>;

    LinkDriver();
    ~LinkDriver();
    LinkDriver(const LinkDriver&) = delete;
    LinkDriver& operator=(const LinkDriver&) = delete;

    /// Takes a state of link 0 or 1 and reports it, now or when there is somebody to report to. Throws
    /// BadText, and changes nothing, where the system refuses the report.
    void SetLink(unsigned link, const LinkSpec& spec);

    /// Sends these bytes as one datagram. Throws BadText where it can't go.
    void SendDatagram(const std::string& bytes);

    States GetStates() const;

  private:
    /// A socket of the application, by its number on the netlink.
    using Address = std::uint32_t;
    /// A datagram for each link of which there is something to tell.
    using Reports = std::array<std::optional<std::string>, kLinks>;

    std::set<Address> FindApplication() const;
    bool Send(Address address, const std::string& bytes) const;
    void SendReports(Address address, const Reports& reports) const;
    void Watch();
    bool DeliverToNewcomers();

    int mSocket;
    Address mOwnAddress = 0;
    mutable std::mutex mMutex;
    std::condition_variable mWake;
    bool mStopping = false;
    Reports mReports;  ///< the last one of each link
    States mStates;
    std::set<Address> mServed;  ///< sockets that know the present state
    std::thread mWatcher;
};

}  // namespace sim
