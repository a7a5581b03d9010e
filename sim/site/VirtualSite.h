#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Process.h"
#include "ScopedFolder.h"

/// Where a virtual router stands: at the far end of link 0 or 1, the box plugged into port `mPort` of router
/// `mHid`. Both ends' addresses follow from that. Routers of 0x5000 to 0x57FF are at 10.0.x.y to 10.255.x.y;
/// an even one leaves the two links their own networks.
struct RouterSeat {
    unsigned mLink = 0;
    std::uint32_t mHid = 0x5002;
    std::uint32_t mPort = 2;

    std::string BoxAddress() const;
    std::string RouterAddress() const;

    /// What the link driver is to report: "up HID PORT adma N".
    std::string Up(unsigned adma) const;
};

/// The network around one virtual box: t2link0 and t2link1, each a pair of virtual Ethernet links to the
/// interface eth0 of a network namespace, router0 and router1. One at a time, and declared before the box and
/// the routers. Made only where WhyNoPrivateNetwork() is empty. Every operation throws with what the command
/// said where it fails; the destructor tells it on standard error.
class VirtualSite {
  public:
    VirtualSite();
    ~VirtualSite();
    VirtualSite(const VirtualSite&) = delete;
    VirtualSite& operator=(const VirtualSite&) = delete;

    /// Gives the router's end of the link its address in place of a former one, and brings it up.
    static void Connect(const RouterSeat& seat);

    /// Takes the cable out: both ends see it. Addresses survive.
    static void Cut(unsigned link);
    static void Restore(unsigned link);

    /// All that the router's end sends is lost; neither end is told.
    static void CutSilently(unsigned link);
    static void RestoreSilently(unsigned link);
};

/// A talvo-router-sim in its place on the site; killed without a farewell at the end.
class VirtualRouter {
  public:
    /// Connects the site's link to `seat` and starts the router there, which dials the box from then on.
    explicit VirtualRouter(const RouterSeat& seat, const std::vector<std::string>& options = {});
    ~VirtualRouter();
    VirtualRouter(const VirtualRouter&) = delete;
    VirtualRouter& operator=(const VirtualRouter&) = delete;

    /// One request, and its reply without the line's end. Throws where the router ends or ten seconds pass
    /// before that.
    std::string Ask(const std::string& request);

    const RouterSeat& Seat() const { return mSeat; }

    /// Kills it and waits until it is gone.
    void Kill();

  private:
    class Pipes;

    std::string ReadLine();

    RouterSeat mSeat;
    ScopedFolder mFolder;
    std::unique_ptr<Pipes> mPipes;
    std::unique_ptr<Process> mProcess;
    std::string mInput;
};
