#include "LinkDriverClient.h"

#include <netlink/attr.h>
#include <netlink/errno.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/genl.h>
#include <netlink/msg.h>
#include <netlink/netlink.h>
#include <netlink/socket.h>
#include <poll.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "Audit.h"

namespace {

constexpr const char* kFamily = "t2link";
constexpr const char* kGroup = "notify";
constexpr int kVersion = 1;
constexpr int kQueryLink = 1;

// The attributes of a report.
constexpr int kIndex = 1;
constexpr int kHid = 2;
constexpr int kPort = 3;
constexpr int kFlags = 4;
constexpr int kFsiId = 5;
constexpr int kAdmaEndpointId = 6;
constexpr int kLastAttribute = kAdmaEndpointId;

using Attributes = std::array<nlattr*, kLastAttribute + 1>;

std::array<nla_policy, kLastAttribute + 1> MakePolicy() {
    std::array<nla_policy, kLastAttribute + 1> policy{};
    for (int attribute = kIndex; attribute <= kLastAttribute; ++attribute) {
        policy[static_cast<std::size_t>(attribute)].type = NLA_U32;
    }
    return policy;
}

template <class Field>
void Copy(const nlattr* attribute, Field& field) {
    if (attribute != nullptr) {
        field = nla_get_u32(attribute);
    }
}

bool HasAny(const Attributes& attributes) {
    for (const nlattr* attribute : attributes) {
        if (attribute != nullptr) {
            return true;
        }
    }
    return false;
}

}  // namespace

LinkDriverClient::LinkDriverClient(unsigned linkCount) : mLast(linkCount), mIndex(LinkReport().mIndex) {
    for (unsigned link = 0; link < linkCount; ++link) {
        mLast[link].mIndex = link;
    }
    const int group = ResolveDriver();
    mSocket = nl_socket_alloc();
    if (mSocket == nullptr || genl_connect(mSocket) < 0) {
        return;
    }
    nl_socket_disable_seq_check(mSocket);
    nl_socket_disable_auto_ack(mSocket);
    nl_socket_enable_msg_peek(mSocket);
    nl_socket_set_nonblocking(mSocket);
    if (group >= 0) {
        nl_socket_add_memberships(mSocket, group, 0);
    }
    QueryAll();
}

LinkDriverClient::~LinkDriverClient() {
    nl_socket_free(mSocket);
}

int LinkDriverClient::GetFd() const {
    return mSocket == nullptr ? -1 : nl_socket_get_fd(mSocket);
}

/// Finds the driver's family, and gives its group or a negative number. On a socket of its own: a report that
/// came while this one waits for the answer would be thrown away with it.
int LinkDriverClient::ResolveDriver() {
    const std::unique_ptr<nl_sock, void (*)(nl_sock*)> socket(nl_socket_alloc(), &nl_socket_free);
    if (socket == nullptr || genl_connect(socket.get()) < 0) {
        return -1;
    }
    mFamily = genl_ctrl_resolve(socket.get(), kFamily);
    return mFamily > 0 ? genl_ctrl_resolve_grp(socket.get(), kFamily, kGroup) : -1;
}

void LinkDriverClient::QueryAll() {
    for (unsigned link = 0; mFamily > 0 && link < mLast.size(); ++link) {
        Query(link);
    }
}

void LinkDriverClient::Query(unsigned link) {
    const std::unique_ptr<nl_msg, void (*)(nl_msg*)> message(nlmsg_alloc(), &nlmsg_free);
    if (message == nullptr) {
        return;
    }
    genlmsg_put(message.get(), NL_AUTO_PORT, NL_AUTO_SEQ, mFamily, 0, NLM_F_REQUEST | NLM_F_ECHO, kQueryLink,
                kVersion);
    nla_put_u32(message.get(), kIndex, link);
    nl_send_auto_complete(mSocket, message.get());
}

bool LinkDriverClient::Receive(std::vector<LinkReport>& reports) {
    reports.clear();
    sockaddr_nl sender{};
    unsigned char* buffer = nullptr;
    const int size = nl_recv(mSocket, &sender, &buffer, nullptr);
    const std::unique_ptr<unsigned char, void (*)(void*)> owner(buffer, &std::free);
    if (size < 0) {
        AUDIT(Feature::Fault, "Error receiving reply to netlink message: %s\n", nl_geterror(size));
        mOwesQuery = true;  // reports may have been lost
    }
    if (size > 0) {
        Parse(buffer, static_cast<std::size_t>(size), reports);
    }
    // Not before the socket is empty: until then the kernel refuses it answers, and nobody would ask again.
    if (mOwesQuery && !HasMore()) {
        mOwesQuery = false;
        QueryAll();
    }
    return size > 0;
}

bool LinkDriverClient::HasMore() const {
    pollfd readable{GetFd(), POLLIN, 0};
    return ::poll(&readable, 1, 0) > 0 && (readable.revents & POLLIN) != 0;
}

void LinkDriverClient::Parse(unsigned char* datagram, std::size_t size, std::vector<LinkReport>& reports) {
    reports.clear();
    std::vector<bool> touched(mLast.size(), false);
    int left = static_cast<int>(size);
    for (auto* message = reinterpret_cast<nlmsghdr*>(datagram); nlmsg_ok(message, left) != 0;
         message = nlmsg_next(message, &left)) {
        ParseMessage(*message, touched);
    }
    for (std::size_t link = 0; link < mLast.size(); ++link) {
        if (touched[link]) {
            reports.push_back(mLast[link]);
        }
    }
}

void LinkDriverClient::ParseMessage(nlmsghdr& message, std::vector<bool>& touched) {
    static const auto kPolicy = MakePolicy();
    if (message.nlmsg_type == NLMSG_ERROR) {
        const bool isWhole = message.nlmsg_len >= NLMSG_LENGTH(sizeof(nlmsgerr));
        const int code = isWhole ? static_cast<const nlmsgerr*>(nlmsg_data(&message))->error : 0;
        // The lowest number of all has no negative of its own type.
        AUDIT(Feature::CommsDebug, "Error reply returned: %s\n",
              std::strerror(static_cast<int>(0U - static_cast<unsigned>(code))));
        return;
    }
    if (message.nlmsg_type < NLMSG_MIN_TYPE) {
        return;  // the protocol's own
    }
    Attributes attributes{};
    const int result = genlmsg_parse(&message, 0, attributes.data(), kLastAttribute,
                                     const_cast<nla_policy*>(kPolicy.data()));
    if (result < 0) {
        AUDIT(Feature::CommsDebug, "Failed to parse reply to netlink message: %s\n", nl_geterror(result));
        return;
    }
    if (!HasAny(attributes)) {
        return;
    }
    Copy(attributes[kIndex], mIndex);
    if (mIndex >= mLast.size()) {
        AUDIT(Feature::Fault, "Ignoring report of unknown T2link %u\n", mIndex);
        return;
    }
    LinkReport& report = mLast[mIndex];
    Copy(attributes[kHid], report.mHid);
    Copy(attributes[kPort], report.mPort);
    Copy(attributes[kFlags], report.mFlags);
    Copy(attributes[kFsiId], report.mFsiId);
    Copy(attributes[kAdmaEndpointId], report.mAdmaEndpointId);
    touched[mIndex] = true;
}
