// A row of heartbeats and silences. Each is a byte, of which the low five bits are the size of a datagram
// that follows and the top two say what else is the matter, if anything: a time without a heartbeat before
// it, or a sender of another family.

#include <netinet/in.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

#include "FuzzTarget.h"
#include "HBSocket.h"
#include "LittleEndian.h"
#include "RemoteDevice.h"
#include "SocketHandler.h"
#include "StdLog.h"

namespace {

constexpr std::uint8_t kSizeMask = 0x1F;
constexpr std::uint8_t kOtherFamily = 0x40;
constexpr std::uint8_t kSilenceFirst = 0x80;

class DroppingSocketLog : public StdLog {
  public:
    void Report(const Socket*, const std::string&, int, const std::string&, Level) override {}
};

/// The device as the receiver follows it, beside what is known of it.
class Follower {
  public:
    void OnSilence() {
        const auto change = mDevice.OnSilence();
        Require(change == (mType ? RemoteDevice::Change::Lost : RemoteDevice::Change::None),
                "a device is lost once, and only where it was known");
        mType.reset();
    }

    void OnHeartbeat(std::uint32_t hid, std::uint32_t deviceType) {
        const auto change = mDevice.OnHeartbeat(hid, deviceType);
        Require(change != RemoteDevice::Change::Lost, "a heartbeat loses no device");
        Require((change == RemoteDevice::Change::None) == (mType == deviceType),
                "a device is found where it wasn't known by that type");
        Require(mDevice.DeviceType() == deviceType, "the type is the last heartbeat's");
        Require(change == RemoteDevice::Change::None || mDevice.Hid() == hid,
                "the id is that of the heartbeat by which it was found");
        mType = deviceType;
    }

  private:
    RemoteDevice mDevice;
    std::optional<std::uint32_t> mType;  ///< while it is known
};

void Receive(HBSocket& socket, Follower& follower, const std::vector<char>& datagram, bool isOtherFamily) {
    sockaddr_in6 sender{};
    sender.sin6_family = isOtherFamily ? AF_INET6 : AF_INET;
    socket.OnRawData(datagram.data(), datagram.size(), reinterpret_cast<const sockaddr*>(&sender),
                     isOtherFamily ? sizeof sender : sizeof(sockaddr_in));
    std::uint32_t hid = 0;
    std::uint32_t deviceType = 0;
    const bool isHeartbeat = socket.TakeHeartbeat(hid, deviceType);
    Require(isHeartbeat == (datagram.size() == Heartbeat::kSize && !isOtherFamily),
            "a heartbeat is a datagram of the right size");
    if (!isHeartbeat) {
        return;
    }
    Require(!socket.TakeHeartbeat(hid, deviceType), "a heartbeat is taken once");
    const auto* const bytes = reinterpret_cast<const unsigned char*>(datagram.data());
    const Heartbeat expected{hid, deviceType,
                             little_endian::Load<std::uint32_t>(bytes + 2 * sizeof(std::uint32_t))};
    Require(std::memcmp(expected.Bytes().data(), bytes, Heartbeat::kSize) == 0,
            "a heartbeat that is written again has the same bytes");
    follower.OnHeartbeat(hid, deviceType);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static DroppingSocketLog log;
    static SocketHandler handler(log);
    HBSocket socket(handler);
    Follower follower;
    for (std::size_t at = 0; at < size;) {
        const std::uint8_t kind = data[at++];
        if ((kind & kSilenceFirst) != 0) {
            follower.OnSilence();
        }
        const std::size_t count = std::min<std::size_t>(kind & kSizeMask, size - at);
        Receive(socket, follower, std::vector<char>(data + at, data + at + count),
                (kind & kOtherFamily) != 0);
        at += count;
    }
    follower.OnSilence();
    return 0;
}
