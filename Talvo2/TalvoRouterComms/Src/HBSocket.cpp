#include "HBSocket.h"

#include <netinet/in.h>

#include <algorithm>

#include "Audit.h"
#include "Ipv4Address.h"
#include "LittleEndian.h"

namespace {

constexpr std::size_t kDeviceTypeOffset = 4;
constexpr std::size_t kStatusOffset = 8;

}  // namespace

std::array<unsigned char, Heartbeat::kSize> Heartbeat::Bytes() const {
    std::array<unsigned char, kSize> bytes{};
    little_endian::Store(mHid, bytes.data());
    little_endian::Store(mDeviceType, bytes.data() + kDeviceTypeOffset);
    little_endian::Store(mIoBoxStatus, bytes.data() + kStatusOffset);
    return bytes;
}

void HBSocket::OnRawData(const char* data, std::size_t size, const sockaddr* from, unsigned fromSize) {
    if (fromSize != sizeof(sockaddr_in)) {
        return;
    }
    const Ipv4Address sender(*reinterpret_cast<const sockaddr_in*>(from));
    AUDIT(Feature::DisplayDebug, "Received %zu bytes from: %s:%d\n", size, sender.Text().c_str(),
          int{sender.Port()});
    if (size != Heartbeat::kSize) {
        return;
    }
    std::copy_n(data, size, mLast.begin());
    mFresh = true;
}

bool HBSocket::TakeHeartbeat(std::uint32_t& hid, std::uint32_t& deviceType) {
    if (!mFresh) {
        return false;
    }
    mFresh = false;
    hid = little_endian::Load<std::uint32_t>(mLast.data());
    deviceType = little_endian::Load<std::uint32_t>(mLast.data() + kDeviceTypeOffset);
    return true;
}
