#include "Ipv4Address.h"

#include "Utility.h"

Ipv4Address::Ipv4Address(std::uint32_t ip, std::uint16_t port) {
    mAddress.sin_family = AF_INET;
    mAddress.sin_port = htons(port);
    mAddress.sin_addr.s_addr = htonl(ip);
}

Ipv4Address::Ipv4Address(const std::string& dotted, std::uint16_t port) : Ipv4Address(0, port) {
    std::uint32_t ip = 0;
    mIsValid = Utility::ParseIp(dotted, ip);
    mAddress.sin_addr.s_addr = htonl(ip);
}

std::string Ipv4Address::Text() const {
    return Utility::DottedIp(Ip());
}
