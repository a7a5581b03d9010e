#include "AddressPlan.h"

LinkAddresses PlanAddresses(unsigned link, std::uint32_t hid, std::uint32_t port) {
    constexpr unsigned kHidShift = 13;
    constexpr unsigned kPortShift = 8;
    constexpr std::uint32_t kRemoteEnd = 0xFE;
    constexpr std::uint32_t kSecondary = 0x2000;
    const std::uint32_t base = hid << kHidShift | port << kPortShift | (link == 1 ? kSecondary : 0);
    return {base | (link + 1), base | kRemoteEnd};
}
