#include "RouterLink.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
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
constexpr std::chrono::seconds kDialLimit{5};

constexpr std::size_t kHeartbeatSize = 12;
constexpr std::size_t kTypeOffset = 4;
constexpr std::size_t kStatusOffset = 8;

}  // namespace

RouterLink::RouterLink(boost::asio::io_service& service, RouterEnds ends, std::uint32_t hid,
                       std::uint32_t type)
    : mService(service),
      mEnds(std::move(ends)),
      mHid(hid),
      mType(type),
      mUdp(service, Udp::v4()),
      mBoxUdp(make_address_v4(mEnds.mBox), mEnds.mBoxUdp),
      mHeartbeatTimer(service),
      mTcp(service),
      mDialTimer(service) {
    mUdp.set_option(Udp::socket::reuse_address(true));
    mUdp.bind({make_address_v4(mEnds.mLocal), mEnds.mLocalUdp});
}

void RouterLink::Start() {
    mHeartbeatTimer.expires_after(std::chrono::seconds(0));
    AwaitHeartbeatTime();
    ReceiveDatagram();
    Dial();
}

void RouterLink::AwaitHeartbeatTime() {
    mHeartbeatTimer.async_wait([this](const error_code& error) {
        if (error) {
            return;
        }
        if (mHeartbeat) {
            std::string bytes(kHeartbeatSize, '\0');
            auto* const data = reinterpret_cast<unsigned char*>(bytes.data());
            little_endian::Store(mHid, data);
            little_endian::Store(mType, data + kTypeOffset);
            error_code failure;
            mUdp.send_to(boost::asio::buffer(bytes), mBoxUdp, 0, failure);
            mHeartbeatsSent += failure ? 0 : 1;
        }
        mHeartbeatTimer.expires_at(mHeartbeatTimer.expiry() + kHeartbeatPeriod);
        AwaitHeartbeatTime();
    });
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
    const std::uint64_t generation = ++mGeneration;
    error_code failure;
    mTcp = Tcp::socket(mService);
    mTcp.open(Tcp::v4(), failure);
    mTcp.bind({make_address_v4(mEnds.mLocal), 0}, failure);
    mTcp.async_connect({make_address_v4(mEnds.mBox), mEnds.mBoxTcp},
                       [this, generation](const error_code& error) {
                           if (generation != mGeneration) {
                               return;
                           }
                           if (error) {
                               DialLater();
                           } else {
                               OnConnected();
                           }
                       });
    mDialTimer.expires_after(kDialLimit);
    mDialTimer.async_wait([this, generation](const error_code& error) {
        if (!error && generation == mGeneration && !mIsConnected) {
            DialLater();
        }
    });
}

void RouterLink::DialLater() {
    const std::uint64_t generation = ++mGeneration;
    error_code ignored;
    mTcp.close(ignored);
    mDialTimer.expires_after(kRedialTime);
    mDialTimer.async_wait([this, generation](const error_code& error) {
        if (!error && generation == mGeneration && mWantsConnection) {
            Dial();
        }
    });
}

void RouterLink::OnConnected() {
    mDialTimer.cancel();
    mIsConnected = true;
    mIsReading = false;
    ++mConnections;
    mReader.Reset();
    error_code ignored;
    mTcp.set_option(Tcp::no_delay(true), ignored);
    Read();
}

void RouterLink::Read() {
    if (!mReads || mIsReading || !mIsConnected) {
        return;
    }
    mIsReading = true;
    mTcp.async_read_some(boost::asio::buffer(mChunk),
                         [this, generation = mGeneration](const error_code& error, std::size_t size) {
                             if (generation != mGeneration) {
                                 return;
                             }
                             mIsReading = false;
                             if (error) {
                                 Lose();
                                 return;
                             }
                             try {
                                 for (const std::string& message : mReader.Take(mChunk.data(), size)) {
                                     mReceived.push_back(CommandJson(message));
                                 }
                             } catch (const BadText&) {
                                 Lose();
                                 return;
                             }
                             while (mReceived.size() > kKept) {
                                 mReceived.pop_front();
                             }
                             Read();
                         });
}

void RouterLink::SetReading(bool on) {
    mReads = on;
    Read();
}

void RouterLink::Lose() {
    mIsConnected = false;
    mUnsent.clear();
    mUnsentBytes = 0;
    DialLater();
}

void RouterLink::Disconnect() {
    mWantsConnection = false;
    Lose();
}

void RouterLink::Connect() {
    mWantsConnection = true;
    if (!mIsConnected) {
        Dial();
    }
}

void RouterLink::Send(const DeskCommand& command) {
    IOStream stream;
    command.Write(stream);
    SendRaw(stream.Bytes());
}

void RouterLink::SendRaw(std::string bytes) {
    if (!mIsConnected) {
        throw BadText("not connected");
    }
    if (mUnsentBytes + bytes.size() > kMaxUnsent) {
        throw BadText("the box doesn't read: too much is waiting for it");
    }
    mUnsentBytes += bytes.size();
    mUnsent.push_back(std::move(bytes));
    if (mUnsent.size() == 1) {
        Write();
    }
}

void RouterLink::Write() {
    boost::asio::async_write(mTcp, boost::asio::buffer(mUnsent.front()),
                             [this, generation = mGeneration](const error_code& error, std::size_t) {
                                 if (generation != mGeneration) {
                                     return;
                                 }
                                 if (error) {
                                     Lose();
                                     return;
                                 }
                                 mUnsentBytes -= mUnsent.front().size();
                                 mUnsent.pop_front();
                                 if (!mUnsent.empty()) {
                                     Write();
                                 }
                             });
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
        .Flag("connected", mIsConnected)
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
