#include "VirtualSite.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/format.hpp>
#include <chrono>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "Tool.h"

namespace {

constexpr auto kPatience = std::chrono::seconds(10);
constexpr unsigned kLinks = 2;
constexpr unsigned kHidShift = 13;
constexpr unsigned kPortShift = 8;
constexpr std::uint32_t kSecondLink = 0x2000;
constexpr std::uint32_t kRouterEnd = 0xFE;

std::string Address(const RouterSeat& seat, std::uint32_t end) {
    const std::uint32_t link = seat.mLink == 0 ? 0 : kSecondLink;
    const in_addr address{htonl((seat.mHid << kHidShift) | (seat.mPort << kPortShift) | link | end)};
    std::array<char, INET_ADDRSTRLEN> text{};
    return inet_ntop(AF_INET, &address, text.data(), text.size());
}

std::string RouterName(unsigned link) {
    return "router" + std::to_string(link);
}

std::vector<std::string> InRouter(unsigned link, const std::vector<std::string>& command) {
    std::vector<std::string> words{"nsenter", "--net=/run/netns/" + RouterName(link)};
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

void SetState(unsigned link, const char* state) {
    RunTool(InRouter(link, {"ip", "link", "set", "eth0", state}));
}

}  // namespace

std::string RouterSeat::BoxAddress() const {
    return Address(*this, mLink + 1);
}

std::string RouterSeat::RouterAddress() const {
    return Address(*this, kRouterEnd);
}

std::string RouterSeat::Up(unsigned adma) const {
    return (boost::format("up %#x %u adma %u") % mHid % mPort % adma).str();
}

VirtualSite::VirtualSite() {
    for (unsigned link = 0; link < kLinks; ++link) {
        RunTool({"ip", "netns", "add", RouterName(link)});
        RunTool({"ip", "link", "add", "t2link" + std::to_string(link), "type", "veth", "peer", "name", "eth0",
                 "netns", RouterName(link)});
    }
}

VirtualSite::~VirtualSite() {
    for (unsigned link = 0; link < kLinks; ++link) {
        try {
            RunTool({"ip", "link", "del", "t2link" + std::to_string(link)});
            RunTool({"ip", "netns", "del", RouterName(link)});
        } catch (const std::runtime_error& reason) {
            std::cerr << reason.what() << "\n";
        }
    }
}

void VirtualSite::Connect(const RouterSeat& seat) {
    RunTool(InRouter(seat.mLink, {"ip", "address", "flush", "dev", "eth0"}));
    RunTool(InRouter(seat.mLink, {"ip", "address", "add", seat.RouterAddress() + "/24", "dev", "eth0"}));
    Restore(seat.mLink);
}

void VirtualSite::Cut(unsigned link) {
    SetState(link, "down");
}

void VirtualSite::Restore(unsigned link) {
    SetState(link, "up");
}

void VirtualSite::CutSilently(unsigned link) {
    RunTool(InRouter(link, {"tc", "qdisc", "add", "dev", "eth0", "root", "blackhole"}));
}

void VirtualSite::RestoreSilently(unsigned link) {
    RunTool(InRouter(link, {"tc", "qdisc", "del", "dev", "eth0", "root"}));
}

/// The two ends of a router's standard input and output. The input is a socket, so that writing to a router
/// that is gone is an error and no signal; the output isn't the same one, as a router may set its input
/// non-blocking.
class VirtualRouter::Pipes {
  public:
    Pipes() {
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, mRequests.data()) != 0 ||
            pipe2(mReplies.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipes");
        }
    }
    ~Pipes() {
        for (const int descriptor : {mRequests[0], mRequests[1], mReplies[0], mReplies[1]}) {
            close(descriptor);
        }
    }
    Pipes(const Pipes&) = delete;
    Pipes& operator=(const Pipes&) = delete;

    Process::Streams ForRouter() const { return {mRequests[1], mReplies[1]}; }

    /// The router's ends are closed here, so that its own end is noticed.
    void LeaveToRouter() {
        close(std::exchange(mRequests[1], -1));
        close(std::exchange(mReplies[1], -1));
    }

    void Send(const std::string& text) const {
        if (send(mRequests[0], text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size())) {
            throw std::runtime_error("the router doesn't take '" + text + "'");
        }
    }

    /// What has come until now, after a wait for the first of it; empty where nothing comes in time.
    std::string Receive(std::chrono::milliseconds patience) const {
        pollfd wanted{mReplies[0], POLLIN, 0};
        std::array<char, 4096> piece{};
        if (poll(&wanted, 1, static_cast<int>(patience.count())) != 1) {
            return {};
        }
        const ssize_t size = read(mReplies[0], piece.data(), piece.size());
        return {piece.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
    }

  private:
    std::array<int, 2> mRequests{-1, -1};
    std::array<int, 2> mReplies{-1, -1};
};

VirtualRouter::VirtualRouter(const RouterSeat& seat, const std::vector<std::string>& options)
    : mSeat(seat), mPipes(std::make_unique<Pipes>()) {
    VirtualSite::Connect(seat);
    // nsenter becomes the program it runs, so that a signal reaches the router itself.
    std::vector<std::string> words = InRouter(
        seat.mLink, {std::string(BRINDLET_BIN_DIR) + "/talvo-router-sim", "--hid", std::to_string(seat.mHid),
                     "--local", seat.RouterAddress(), "--box", seat.BoxAddress()});
    words.insert(words.end(), options.begin(), options.end());
    mProcess = std::make_unique<Process>(mFolder, "router", words, mPipes->ForRouter());
    mPipes->LeaveToRouter();
}

VirtualRouter::~VirtualRouter() = default;

std::string VirtualRouter::Ask(const std::string& request) {
    mPipes->Send(request + "\n");
    return ReadLine();
}

std::string VirtualRouter::ReadLine() {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    std::size_t end = 0;
    while ((end = mInput.find('\n')) == std::string::npos) {
        const auto left = deadline - std::chrono::steady_clock::now();
        const std::string piece = mPipes->Receive(
            std::max(std::chrono::ceil<std::chrono::milliseconds>(left), std::chrono::milliseconds(0)));
        if (piece.empty()) {
            throw std::runtime_error("the router doesn't answer: " + mInput + mProcess->Errors());
        }
        mInput += piece;
    }
    std::string line = mInput.substr(0, end);
    mInput.erase(0, end + 1);
    return line;
}

void VirtualRouter::Kill() {
    mProcess->Signal(SIGKILL);
    mProcess->WaitForEnd();
}
