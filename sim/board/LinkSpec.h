#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sim {

/// What the link driver is to report of a link. What is nothing isn't in the message.
struct LinkSpec {
    bool mUp = false;
    std::uint32_t mHid = 0;   ///< of the router; only of a link that is up
    std::uint32_t mPort = 0;  ///< of that router; the same
    std::optional<std::uint32_t> mFsi;
    std::optional<std::uint32_t> mAdma;
    std::optional<std::uint32_t> mFlags;
};

/// Reads "up HID PORT [fsi N] [adma N] [flags N]" or "down [flags N]", split into words. Throws BadText.
LinkSpec ParseLinkSpec(const std::vector<std::string>& words);

}  // namespace sim
