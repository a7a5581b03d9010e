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
    if (mActive != kNoLink) {
        return {};
    }
    mActive = link;
    return {true, true};
}

ActiveLink::Outcome ActiveLink::OnSwap(int link) {
    mActive = link;
    return {true, false};
}

ActiveLink::Outcome ActiveLink::OnFail(int link, bool otherIsUp) {
    mRouterActive[static_cast<std::size_t>(link)] = false;
    if (mActive != link) {
        return {};
    }
    mActive = AfterLoss(link, otherIsUp);
    return {true, false};
}

ActiveLink::Outcome ActiveLink::OnLost(int link, bool otherIsUp) {
    const bool isActive = mActive == link;
    const int next = AfterLoss(link, otherIsUp);
    mRouterActive[static_cast<std::size_t>(link)] = false;
    if (!isActive) {
        return {};
    }
    mActive = next;
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
