#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "BoxLog.h"
#include "Sender.h"
#include "VirtualBox.h"
#include "VirtualSite.h"

/// The site under load: a box that logs much, its two routers as senders, and ears on the log. All but the
/// log belongs to one thread.
class Site {
  public:
    static constexpr auto kPatience = std::chrono::seconds(20);

    explicit Site(std::uint32_t seed);

    VirtualBox& Box() { return mBox; }
    Sender& SenderOf(unsigned link) { return mSenders[link]; }
    const BoxLog::Counts& Seen() const { return mLog.Seen(); }
    std::chrono::milliseconds TakeLongestPause() { return mLog.TakeLongestPause(); }
    std::string LinkEvents() const { return mLog.LinkEvents(); }

    /// Waits until both links are up, one is active, both streams stand, and all of it has stayed so for
    /// longer than a loss takes to be noticed. Throws where that doesn't come.
    void AwaitRest();

    /// Waits until all that the link's router has sent until now has been carried out. Throws where its
    /// stream doesn't let that through.
    void Fence(unsigned link);

    /// Looks again and again; false where the patience ends first.
    static bool Await(const std::function<bool()>& holds);

    /// How often the link's router has connected since it was started.
    std::string Connections(unsigned link);

    /// Whether both routers are told that nothing is wrong with the box.
    bool IsReportedWhole();

    /// Throws what went wrong while following the log.
    void StopFollowing() { mLog.Stop(); }

  private:
    std::string Toggle(const std::string& feature);
    std::string Look();

    VirtualSite mNetwork;
    VirtualBox mBox;
    BoxLog mLog;
    std::array<Sender, 2> mSenders;
    unsigned long mFences = 0;
};
