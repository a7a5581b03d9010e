// How long the box takes to go over to the other router when the active one is killed: from that router's
// last heartbeat, as it passes the link, and from the kill, to the moment at which the shell shows the other
// link as active.

#include <arpa/inet.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <netinet/udp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "PrivateNetwork.h"
#include "VirtualBox.h"
#include "VirtualSite.h"

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int kDefaultTries = 50;
constexpr double kLimitMs = 1100;
constexpr auto kPatience = std::chrono::seconds(20);
constexpr std::uint16_t kHeartbeatPort = 60002;
constexpr int kSkipped = 77;

const RouterSeat kSeats[] = {{0, 0x5000, 2}, {1, 0x5000, 2}};
constexpr const char* kNames[] = {"T2 Pri Link", "T2 Sec Link"};

/// What the first output slot hears of each link.
constexpr const char* kSounds[] = {"ok 3 7", "ok 2 7"};

/// One fail-over, in ms.
struct Times {
    double mSinceHeartbeat;
    double mSinceKill;
    double mSinceChoice;
};

/// Listens to a link and knows when a heartbeat of the router came last.
class HeartbeatWatch {
  public:
    explicit HeartbeatWatch(const std::string& interface)
        : mSocket(socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, htons(ETH_P_IP))) {
        sockaddr_ll address{};
        address.sll_family = AF_PACKET;
        address.sll_protocol = htons(ETH_P_IP);
        address.sll_ifindex = static_cast<int>(if_nametoindex(interface.c_str()));
        if (bind(mSocket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            throw std::runtime_error("cannot listen to " + interface);
        }
        mThread = std::thread([this] { Run(); });
    }
    ~HeartbeatWatch() {
        mStop = true;
        mThread.join();
        close(mSocket);
    }
    HeartbeatWatch(const HeartbeatWatch&) = delete;
    HeartbeatWatch& operator=(const HeartbeatWatch&) = delete;

    Clock::time_point Last() const { return Clock::time_point(Clock::duration(mLast)); }

  private:
    void Run() {
        constexpr int kLookMs = 100;
        std::array<unsigned char, 2048> packet{};
        pollfd wanted{mSocket, POLLIN, 0};
        while (!mStop) {
            if (poll(&wanted, 1, kLookMs) <= 0) {
                continue;
            }
            const ssize_t size = recv(mSocket, packet.data(), packet.size(), 0);
            const auto now = Clock::now();
            if (IsHeartbeat(packet.data(), size)) {
                mLast = now.time_since_epoch().count();
            }
        }
    }

    static bool IsHeartbeat(const unsigned char* packet, ssize_t size) {
        iphdr ip{};
        udphdr udp{};
        if (size < static_cast<ssize_t>(sizeof ip + sizeof udp)) {
            return false;
        }
        std::memcpy(&ip, packet, sizeof ip);
        std::memcpy(&udp, packet + std::size_t{ip.ihl} * 4, sizeof udp);
        return ip.protocol == IPPROTO_UDP && ntohs(udp.dest) == kHeartbeatPort;
    }

    int mSocket;
    std::atomic<bool> mStop{false};
    std::atomic<Clock::rep> mLast{0};
    std::thread mThread;
};

/// The site: a box, two routers, and ears on both links.
class Site {
  public:
    Site() : mBox({"--link0", kSeats[0].Up(3), "--link1", kSeats[1].Up(2)}) {
        StartRouter(0);
        StartRouter(1);
    }

    /// Kills the router of the active link and measures until the outputs play the other one.
    Times FailOver(unsigned active) {
        const unsigned other = 1 - active;
        AwaitReady(active);
        const auto killed = Clock::now();
        mRouters[active]->Kill();
        Clock::time_point chosen;
        std::thread shell([&] {
            Await(mBox.Shell(), "t2act", std::string("Active Talvo link - ") + kNames[other]);
            chosen = Clock::now();
        });
        Await(mBox.Bench(), "hear 4 0", kSounds[other]);
        const auto heard = Clock::now();
        shell.join();
        const Times times{Milliseconds(heard - mWatches[active].Last()).count(),
                          Milliseconds(heard - killed).count(), Milliseconds(heard - chosen).count()};
        StartRouter(active);
        return times;
    }

  private:
    void StartRouter(unsigned link) { mRouters[link] = std::make_unique<VirtualRouter>(kSeats[link]); }

    void AwaitReady(unsigned active) {
        Await(mBox.Shell(), "t2avail", "T2 Pri Link,  T2 Sec Link");
        const auto deadline = Clock::now() + kPatience;
        for (const auto& router : mRouters) {
            while (router->Ask("state").find("\"connected\":true") == std::string::npos) {
                Check(deadline);
            }
        }
        mRouters[active]->Ask("swap");
        Await(mBox.Shell(), "t2act", std::string("Active Talvo link - ") + kNames[active]);
        Await(mBox.Bench(), "hear 4 0", kSounds[active]);
    }

    static void Await(LineClient& port, const std::string& request, const std::string& text) {
        const auto deadline = Clock::now() + kPatience;
        while (port.Ask(request).find(text) == std::string::npos) {
            Check(deadline);
        }
    }

    static void Check(Clock::time_point deadline) {
        if (Clock::now() > deadline) {
            throw std::runtime_error("the site doesn't come to what was waited for");
        }
        constexpr timespec kPause{0, 200'000};
        ppoll(nullptr, 0, &kPause, nullptr);
    }

    VirtualSite mNetwork;
    HeartbeatWatch mWatches[2]{HeartbeatWatch("t2link0"), HeartbeatWatch("t2link1")};
    VirtualBox mBox;
    std::unique_ptr<VirtualRouter> mRouters[2];
};

void Print(const char* what, std::vector<double> times) {
    constexpr double kPercentile = 0.99;
    std::sort(times.begin(), times.end());
    const auto at = [&times](double part) {
        return times[static_cast<std::size_t>(std::lround(part * static_cast<double>(times.size() - 1)))];
    };
    std::printf("%-20s minimum %7.1f  median %7.1f  99th percentile %7.1f  maximum %7.1f ms\n", what, at(0),
                at(0.5), at(kPercentile), at(1));
}

int Run(int tries) {
    Site site;
    std::vector<double> sinceHeartbeat;
    std::vector<double> sinceKill;
    std::vector<double> sinceChoice;
    for (int i = 0; i < tries; ++i) {
        const Times times = site.FailOver(static_cast<unsigned>(i) % 2);
        sinceHeartbeat.push_back(times.mSinceHeartbeat);
        sinceKill.push_back(times.mSinceKill);
        sinceChoice.push_back(times.mSinceChoice);
    }
    Print("from last heartbeat:", sinceHeartbeat);
    Print("from the kill:", sinceKill);
    Print("from the choice:", sinceChoice);
    const auto good = std::count_if(sinceHeartbeat.begin(), sinceHeartbeat.end(),
                                    [](double time) { return time <= kLimitMs; });
    std::printf("within %.0f ms of the last heartbeat: %td of %d\n", kLimitMs, good, tries);
    return good == tries ? 0 : 1;
}

}  // namespace

int main(int argc, char* argv[]) {
    const int tries = argc > 1 ? std::atoi(argv[1]) : kDefaultTries;
    if (tries < 1) {
        std::fprintf(stderr, "usage: brindlet-failover [TRIES]\n");
        return 2;
    }
    try {
        EnterPrivateNetwork(argv);
        if (!WhyNoPrivateNetwork().empty()) {
            std::fprintf(stderr, "brindlet-failover: no network of its own: %s\n",
                         WhyNoPrivateNetwork().c_str());
            return kSkipped;
        }
        return Run(tries);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "brindlet-failover: %s\n", failure.what());
        return 1;
    }
}
