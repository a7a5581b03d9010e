#include "NetlinkSender.h"

#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

NetlinkSender::NetlinkSender() : mDescriptor(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_GENERIC)) {}

NetlinkSender::~NetlinkSender() {
    close(mDescriptor);
}

int NetlinkSender::FindReceiver() const {
    constexpr int kMostDescriptors = 256;
    for (int descriptor = 0; descriptor < kMostDescriptors; ++descriptor) {
        int domain = 0;
        int protocol = 0;
        socklen_t size = sizeof domain;
        if (descriptor != mDescriptor && getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 &&
            getsockopt(descriptor, SOL_SOCKET, SO_PROTOCOL, &protocol, &size) == 0 && domain == AF_NETLINK &&
            protocol == NETLINK_GENERIC) {
            return descriptor;
        }
    }
    return -1;
}

bool NetlinkSender::Send(const std::string& bytes) const {
    sockaddr_nl receiver{};
    socklen_t size = sizeof receiver;
    if (getsockname(FindReceiver(), reinterpret_cast<sockaddr*>(&receiver), &size) != 0) {
        return false;
    }
    receiver.nl_groups = 0;
    return sendto(mDescriptor, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&receiver), size) ==
           static_cast<ssize_t>(bytes.size());
}

std::string NetlinkSender::Report(const std::vector<std::optional<std::uint32_t>>& values,
                                  std::uint16_t messageType) {
    std::string message(sizeof(nlmsghdr), '\0');
    const genlmsghdr generic{1, 1, 0};
    message.append(reinterpret_cast<const char*>(&generic), sizeof generic);
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (values[i]) {
            const nlattr header{NLA_HDRLEN + sizeof(std::uint32_t), static_cast<std::uint16_t>(i + 1)};
            message.append(reinterpret_cast<const char*>(&header), sizeof header);
            message.append(reinterpret_cast<const char*>(&*values[i]), sizeof(std::uint32_t));
        }
    }
    nlmsghdr header{};
    header.nlmsg_len = static_cast<std::uint32_t>(message.size());
    header.nlmsg_type = messageType;
    std::memcpy(message.data(), &header, sizeof header);
    return message;
}
