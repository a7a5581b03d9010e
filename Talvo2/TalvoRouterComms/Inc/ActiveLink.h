#pragma once

#include <array>
#include <atomic>

#include "RouterPorts.h"

/// Decides which of the two links is active, from what happens on them. Links are 0 and 1, kNoLink is none.
///
/// The event loop tells it what happens; any thread may ask.
class ActiveLink {
  public:
    /// What an event leads to.
    struct Outcome {
        bool mIsSet = false;  ///< the active link was decided, to `Get()`: to be told to the application
        bool mIsAnnounced = false;  ///< to be told to the router on the active link
    };

    int Get() const { return mActivePort; }

    /// Whether the router on a link wants the box.
    bool IsRouterActive(int link) const { return mRouterActive[static_cast<std::size_t>(link)]; }

    /// The router on `link` claims the box.
    Outcome OnClaim(int link);

    /// The router on `link` orders the box there.
    Outcome OnSwap(int link);

    /// The router on `link` gives the box up. `otherIsUp`: heartbeats are seen on the other link.
    Outcome OnFail(int link, bool otherIsUp);

    /// The router on `link` isn't heard any more.
    Outcome OnLost(int link, bool otherIsUp);

    /// A router is heard on `link`.
    void OnFound(int link, unsigned deviceType);

    /// A command stream on `link` is to be taken, where there is no active link.
    Outcome OnStream(int link);

  private:
    Outcome Claim(int link);
    int AfterLoss(int link, bool otherIsUp) const;

    std::atomic<int> mActivePort{kNoLink};
    std::array<std::atomic<bool>, kRouterLinks> mRouterActive{};
};
