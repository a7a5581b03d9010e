#include "LinkDriver.h"

#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>

#include "LineText.h"

namespace sim {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kWatchPeriod{20};
constexpr milliseconds kServedWatchPeriod{200};

constexpr std::uint32_t kProcessBits = 0x3FFFFF;  ///< of a socket's address, the process that made it
constexpr std::uint16_t kMessageType = 0x10;
constexpr std::uint32_t kDownHid = 0xFFFFFFFF;

enum class Attribute : std::uint16_t { Index = 1, Hid, Port, Flags, Fsi, Adma };

std::uint32_t ProcessPart() {
    return static_cast<std::uint32_t>(::getpid()) & kProcessBits;
}

void AppendAttribute(std::string& message, Attribute type, std::uint32_t value) {
    const nlattr header{NLA_HDRLEN + sizeof value, static_cast<std::uint16_t>(type)};
    message.append(reinterpret_cast<const char*>(&header), sizeof header);
    message.append(reinterpret_cast<const char*>(&value), sizeof value);
}

void AppendIfGiven(std::string& message, Attribute type, const std::optional<std::uint32_t>& value) {
    if (value) {
        AppendAttribute(message, type, *value);
    }
}

std::string ReportOf(unsigned link, const LinkSpec& spec) {
    std::string message(sizeof(nlmsghdr), '\0');
    const genlmsghdr generic{1, 1, 0};
    message.append(reinterpret_cast<const char*>(&generic), sizeof generic);
    AppendAttribute(message, Attribute::Index, link);
    AppendAttribute(message, Attribute::Hid, spec.mUp ? spec.mHid : kDownHid);
    if (spec.mUp) {
        AppendAttribute(message, Attribute::Port, spec.mPort);
    }
    AppendIfGiven(message, Attribute::Flags, spec.mFlags);
    AppendIfGiven(message, Attribute::Fsi, spec.mFsi);
    AppendIfGiven(message, Attribute::Adma, spec.mAdma);
    nlmsghdr header{};
    header.nlmsg_len = static_cast<std::uint32_t>(message.size());
    header.nlmsg_type = kMessageType;
    std::memcpy(message.data(), &header, sizeof header);
    return message;
}

LinkState StateOf(const LinkSpec& spec) {
    return {spec.mUp, spec.mHid, spec.mPort, spec.mFsi.value_or(0), spec.mAdma.value_or(0)};
}

}  // namespace

LinkDriver::LinkDriver() : mSocket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_GENERIC)) {
    // An address that doesn't look like this process's, which the application's socket is to have.
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_pid = ~static_cast<std::uint32_t>(::getpid());
    socklen_t size = sizeof address;
    while (::bind(mSocket, reinterpret_cast<sockaddr*>(&address), size) != 0 && errno == EADDRINUSE) {
        address.nl_pid -= kProcessBits + 1;  // another board of this process has it
    }
    mOwnAddress = address.nl_pid;
}

LinkDriver::~LinkDriver() {
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mStopping = true;
    }
    mWake.notify_all();
    if (mWatcher.joinable()) {
        mWatcher.join();
    }
    ::close(mSocket);
}

void LinkDriver::SetLink(unsigned link, const LinkSpec& spec) {
    const std::lock_guard<std::mutex> lock(mMutex);
    Reports news;
    news[link] = ReportOf(link, spec);
    Reports all = mReports;
    all[link] = news[link];
    const std::set<Address> application = FindApplication();
    for (const Address address : application) {
        SendReports(address, mServed.count(address) != 0 ? news : all);
    }
    mServed = application;
    mReports = all;
    mStates[link] = StateOf(spec);
    if (!mWatcher.joinable()) {
        mWatcher = std::thread([this] { Watch(); });
    }
}

void LinkDriver::SendDatagram(const std::string& bytes) {
    const std::lock_guard<std::mutex> lock(mMutex);
    bool isReceived = false;
    for (const Address address : FindApplication()) {
        isReceived |= Send(address, bytes);
    }
    if (!isReceived) {
        throw BadText("the application has no netlink socket");
    }
}

LinkDriver::States LinkDriver::GetStates() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mStates;
}

std::set<LinkDriver::Address> LinkDriver::FindApplication() const {
    std::set<Address> found;
    std::ifstream table("/proc/net/netlink");
    std::string line;
    while (std::getline(table, line)) {
        std::istringstream columns(line);
        std::string pointer;
        int protocol = 0;
        Address address = 0;
        if (columns >> pointer >> protocol >> address && protocol == NETLINK_GENERIC &&
            address != mOwnAddress && (address & kProcessBits) == ProcessPart()) {
            found.insert(address);
        }
    }
    return found;
}

/// Whether the socket was still there.
bool LinkDriver::Send(Address address, const std::string& bytes) const {
    sockaddr_nl receiver{};
    receiver.nl_family = AF_NETLINK;
    receiver.nl_pid = address;
    if (::sendto(mSocket, bytes.data(), bytes.size(), MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&receiver),
                 sizeof receiver) >= 0) {
        return true;
    }
    if (errno == ECONNREFUSED) {
        return false;  // the application opens one for a moment only, as it starts
    }
    throw BadText(std::string("the datagram can't go: ") + std::strerror(errno));
}

void LinkDriver::SendReports(Address address, const Reports& reports) const {
    for (const auto& report : reports) {
        if (report) {
            Send(address, *report);
        }
    }
}

void LinkDriver::Watch() {
    std::unique_lock<std::mutex> lock(mMutex);
    while (!mStopping) {
        const bool isServed = DeliverToNewcomers();
        mWake.wait_for(lock, isServed ? kServedWatchPeriod : kWatchPeriod);
    }
}

/// Whether there is an application, which knows the present state.
bool LinkDriver::DeliverToNewcomers() {
    const std::set<Address> application = FindApplication();
    std::set<Address> served;
    for (const Address address : application) {
        try {
            if (mServed.count(address) == 0) {
                SendReports(address, mReports);
            }
            served.insert(address);
        } catch (const BadText&) {
            continue;  // tried again in the next round
        }
    }
    mServed = served;
    return !application.empty() && served == application;
}

}  // namespace sim
