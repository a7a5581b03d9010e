#include "RouterLink.h"

#include <sys/socket.h>

#include <boost/asio/buffer.hpp>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "CommandJson.h"
#include "DeskCommand.h"
#include "IOStream.h"
#include "JsonWriter.h"
#include "LineText.h"
#include "LittleEndian.h"

namespace sim {
namespace {

using boost::asio::ip::make_address_v4;
using boost::system::error_code;

constexpr std::chrono::milliseconds kHeartbeatPeriod{300};
constexpr std::chrono::seconds kRedialTime{1};

// A heartbeat: HID, device type and status word, four bytes each.
constexpr std::size_t kTypeOffset = 4;
constexpr std::size_t kStatusOffset = 8;
constexpr std::size_t kHeartbeatSize = 12;

}  // namespace

RouterLink::RouterLink(boost::asio::io_service& service, RouterEnds ends, std::uint32_t hid,
                       std::uint32_t type)
    : mService(service),
      mEnds(std::move(ends)),
      mHid(hid),
      mType(type),
      mUdp(service, Udp::v4()),
      mBoxUdp(make_address_v4(mEnds.mBox), mEnds.mBoxUdp),
      mRedialTimer(service) {
    BindHeartbeats();
}

RouterLink::~RouterLink() {
    {
        const std::lock_guard<std::mutex> lock(mHeartbeatMutex);
        mIsEnding = true;
    }
    mHeartbeatWake.notify_all();
    if (mHeartbeatThread.joinable()) {
        mHeartbeatThread.join();
    }
    if (mStream) {
        mStream->Close();
    }
}

void RouterLink::BindHeartbeats() {
    error_code failure;
    mUdp.non_blocking(true, failure);
    mUdp.bind({make_address_v4(mEnds.mLocal), mEnds.mLocalUdp}, failure);
    if (failure) {
        throw std::runtime_error("cannot take heartbeats on " + mEnds.mLocal + ":" +
                                 std::to_string(mEnds.mLocalUdp) + ": " + failure.message());
    }
    mUdpDescriptor = mUdp.native_handle();
}

void RouterLink::Start() {
    mHeartbeatThread = std::thread([this] { RunHeartbeats(); });
    ReceiveDatagram();
    Dial();
}

void RouterLink::RunHeartbeats() {
    using Clock = std::chrono::steady_clock;
    auto due = Clock::now();
    std::unique_lock<std::mutex> lock(mHeartbeatMutex);
    while (!mHeartbeatWake.wait_until(lock, due, [this] { return mIsEnding; })) {
        if (mHeartbeat) {
            SendHeartbeat();
        }
        // Steady, but what a stopped process has missed isn't made up for.
        const auto now = Clock::now();
        due += kHeartbeatPeriod;
        due = due < now ? now + kHeartbeatPeriod : due;
    }
}

void RouterLink::SendHeartbeat() {
    std::array<unsigned char, kHeartbeatSize> bytes{};  // the status word stays 0
    little_endian::Store(mHid, bytes.data());
    little_endian::Store(mType, bytes.data() + kTypeOffset);
    const ssize_t sent = ::sendto(mUdpDescriptor, bytes.data(), bytes.size(), MSG_DONTWAIT, mBoxUdp.data(),
                                  static_cast<socklen_t>(mBoxUdp.size()));
    mHeartbeatsSent += sent == static_cast<ssize_t>(bytes.size()) ? 1 : 0;
}

void RouterLink::ReceiveDatagram() {
    mUdp.async_receive_from(boost::asio::buffer(mDatagram), mSender,
                            [this](const error_code& error, std::size_t size) {
                                if (error == boost::asio::error::operation_aborted) {
                                    return;
                                }
                                if (!error) {
                                    TakeDatagram(size);
                                }
                                ReceiveDatagram();
                            });
}

void RouterLink::TakeDatagram(std::size_t size) {
    if (size != kHeartbeatSize || mSender.address() != mBoxUdp.address()) {
        return;
    }
    const auto* const data = reinterpret_cast<const unsigned char*>(mDatagram.data());
    ++mHeartbeatsReceived;
    mBoxHid = little_endian::Load<std::uint32_t>(data);
    mBoxType = little_endian::Load<std::uint32_t>(data + kTypeOffset);
    mBoxStatus = little_endian::Load<std::uint32_t>(data + kStatusOffset);
}

void RouterLink::Dial() {
    StreamEvents events{[this] { ++mConnections; }, [this](const std::string& message) { Keep(message); },
                        [this] {
                            DialLater();
                        }};
    mStream = std::make_shared<RouterStream>(mService, std::move(events), mReads);
    const auto stream = mStream;  // where it ends at once, it is let go of while it dials
    stream->Dial({make_address_v4(mEnds.mLocal), 0}, {make_address_v4(mEnds.mBox), mEnds.mBoxTcp});
}

void RouterLink::DialLater() {
    mStream.reset();
    mRedialTimer.expires_after(kRedialTime);
    mRedialTimer.async_wait([this](const error_code& error) {
        if (!error && mWantsConnection && !mStream) {
            Dial();
        }
    });
}

void RouterLink::Disconnect() {
    mWantsConnection = false;
    mRedialTimer.cancel();
    if (mStream) {
        mStream->Close();
        mStream.reset();
    }
}

void RouterLink::Connect() {
    if (!mWantsConnection) {
        mWantsConnection = true;
        Dial();
    }
}

void RouterLink::SetReading(bool on) {
    mReads = on;
    if (mStream) {
        mStream->SetReading(on);
    }
}

void RouterLink::Keep(const std::string& message) {
    mReceived.push_back(CommandJson(message));
    mReceivedBytes += mReceived.back().size();
    while (mReceived.size() > kKept || (mReceivedBytes > kKeptBytes && mReceived.size() > 1)) {
        mReceivedBytes -= mReceived.front().size();
        mReceived.pop_front();
    }
}

void RouterLink::Send(const DeskCommand& command) {
    IOStream stream;
    command.Write(stream);
    SendRaw(stream.Bytes());
}

void RouterLink::SendRaw(const std::string& bytes) {
    if (!IsConnected()) {
        throw BadText("not connected");
    }
    mStream->Send(bytes);
}

void RouterLink::SendDatagram(const std::string& bytes) {
    error_code failure;
    mUdp.send_to(boost::asio::buffer(bytes), mBoxUdp, 0, failure);
    if (failure) {
        throw BadText("the datagram can't go: " + failure.message());
    }
}

std::string RouterLink::StateText() const {
    JsonWriter json;
    json.BeginObject()
        .Flag("connected", IsConnected())
        .Number("connections", mConnections)
        .Number("heartbeats_sent", mHeartbeatsSent)
        .Number("heartbeats_received", mHeartbeatsReceived)
        .Key("box")
        .BeginObject()
        .Number("hid", mBoxHid)
        .Number("type", mBoxType)
        .Number("status", mBoxStatus)
        .EndObject()
        .Key("received")
        .BeginArray();
    for (const std::string& command : mReceived) {
        json.Raw(command);
    }
    return json.EndArray().EndObject().Text();
}

}  // namespace sim
