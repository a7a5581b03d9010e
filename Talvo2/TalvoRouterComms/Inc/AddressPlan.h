#pragma once

#include <cstdint>

/// The two ends of a router link, in host order; 0 where there is none.
struct LinkAddresses {
    std::uint32_t mLocal = 0;
    std::uint32_t mRemote = 0;
};

/// The addresses of link `link` to the router with this HID, at its port `port`.
LinkAddresses PlanAddresses(unsigned link, std::uint32_t hid, std::uint32_t port);
