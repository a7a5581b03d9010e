#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Sends generic netlink datagrams to a socket of this process, as the link driver does.
class NetlinkSender {
  public:
    NetlinkSender();
    ~NetlinkSender();
    NetlinkSender(const NetlinkSender&) = delete;
    NetlinkSender& operator=(const NetlinkSender&) = delete;

    /// To this process's other generic netlink socket. False where it may not, or there is none.
    bool Send(const std::string& bytes) const;

    /// One message of a report, with attribute 1 for the first value and so on; what is nothing is left out.
    static std::string Report(const std::vector<std::optional<std::uint32_t>>& values,
                              std::uint16_t messageType = 0x10);

  private:
    int FindReceiver() const;

    int mDescriptor;
};
