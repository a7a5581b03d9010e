#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

/// Links to the routers: 0 is the primary, 1 the secondary.
constexpr std::size_t kRouterLinks = 2;

/// In place of a link: none.
constexpr int kNoLink = 2;

/// The numbers and names by which the box meets its routers. The defaults are those of the network; tests
/// take others so as not to meet each other.
struct RouterPorts {
    std::uint16_t mIo = 55000;             ///< TCP, listened on; 0 takes a free one
    std::uint16_t mMaster = 55100;         ///< TCP, listened on; 0 takes a free one
    std::uint16_t mUpdater = 49190;        ///< TCP, on this box
    std::uint16_t mHeartbeatsOut = 60001;  ///< UDP, at the router
    std::uint16_t mHeartbeatsIn = 60002;   ///< UDP, at the box
    std::array<std::string, kRouterLinks> mInterfaces{"t2link0", "t2link1"};
    std::chrono::milliseconds mSettling{2000};  ///< after an interface was given an address
    std::chrono::milliseconds mRetry{10'000};   ///< before an address that couldn't be used is tried again
};
