#include "ActiveLink.h"

namespace {

/// Is heard, but doesn't want the box by that alone.
constexpr unsigned kPassiveType = 5;

}  // namespace

ActiveLink::Outcome ActiveLink::OnClaim(int link) {
    mRouterActive[static_cast<std::size_t>(link)] = true;
    return Claim(link);
}

ActiveLink::Outcome ActiveLink::OnStream(int link) {
    return Claim(link);
}

/// The first one to come has the box.
ActiveLink::Outcome ActiveLink::Claim(int link) {
    if (mActivePort != kNoLink) {
        return {};
    }
    mActivePort = link;
    return {true, true};
}

ActiveLink::Outcome ActiveLink::OnSwap(int link) {
    mActivePort = link;
    return {true, false};
}

ActiveLink::Outcome ActiveLink::OnFail(int link, bool otherIsUp) {
    mRouterActive[static_cast<std::size_t>(link)] = false;
    if (mActivePort != link) {
        return {};
    }
    mActivePort = AfterLoss(link, otherIsUp);
    return {true, false};
}

ActiveLink::Outcome ActiveLink::OnLost(int link, bool otherIsUp) {
    const bool isActive = mActivePort == link;
    const int next = AfterLoss(link, otherIsUp);
    mRouterActive[static_cast<std::size_t>(link)] = false;
    if (!isActive) {
        return {};
    }
    mActivePort = next;
    return {true, next != kNoLink};
}

void ActiveLink::OnFound(int link, unsigned deviceType) {
    if (deviceType != kPassiveType) {
        mRouterActive[static_cast<std::size_t>(link)] = true;
    }
}

/// The active link after the loss of `link`: the other one, where it is fit for it.
int ActiveLink::AfterLoss(int link, bool otherIsUp) const {
    const int other = 1 - link;
    return otherIsUp && IsRouterActive(other) ? other : kNoLink;
}
