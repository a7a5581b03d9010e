#include "Utility.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <array>

std::string Utility::DottedIp(std::uint32_t ip) {
    const in_addr address{htonl(ip)};
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &address, text.data(), text.size());
    return text.data();
}

bool Utility::ParseIp(const std::string& dotted, std::uint32_t& ip) {
    in_addr address{};
    if (inet_pton(AF_INET, dotted.c_str(), &address) != 1) {
        return false;
    }
    ip = ntohl(address.s_addr);
    return true;
}
