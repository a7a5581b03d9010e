#include "TalvoKLVComms.h"

#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/io_service.hpp>
#include <boost/asio/post.hpp>
#include <cstring>
#include <string>

#include "Audit.h"
#include "DeskCommand.h"
#include "ListenSocket.h"
#include "TalvoKLVStream.h"
#include "TalvoSocketException.h"
#include "Utility.h"

namespace {

constexpr int kBacklog = 20;
constexpr std::uint32_t kNetwork = 0xFFFFFF00;  ///< without the last octet
constexpr std::uint32_t kLoopbackIp = INADDR_LOOPBACK;

const char* TypeName(iRouterKLVComms::StreamType type) {
    return type == iRouterKLVComms::StreamType::Master ? "Master" : "Local";
}

std::string NetworkText(std::uint32_t ip) {
    return Utility::DottedIp(ip & kNetwork);
}

}  // namespace

TalvoKLVComms::TalvoKLVComms(boost::asio::io_context& service, TalvoCommandProcessor& processor,
                             unsigned portCount, const RouterPorts& ports)
    : mService(service),
      mPorts(ports),
      mStreamChanged(std::make_shared<StreamChangedSignal>()),
      mUpdaterConnected(std::make_shared<UpdaterSignal>()),
      mStreams(portCount, LinkStreams{}),
      mHandler(mLog, *this, processor) {
    AUDIT(Feature::Information, "Starting TalvoRouterKLVComms\n");
    mPorts.mIo = Listen(ports.mIo, "I/O KLV");
    mPorts.mMaster = Listen(ports.mMaster, "Master router KLV");
    mSelectThread = std::thread([this] { RunSelect(); });
}

TalvoKLVComms::~TalvoKLVComms() {
    mRunning = false;
    mHandler.Wake();
    mSelectThread.join();
}

std::uint16_t TalvoKLVComms::Listen(std::uint16_t port, const char* purpose) {
    auto listener = std::make_unique<ListenSocket<TalvoKLVStream>>(mHandler);
    if (listener->Bind(port, kBacklog) != 0) {
        throw TalvoSocketException(std::string("Unable to bind ") + purpose + " listener to port " +
                                   std::to_string(port));
    }
    const std::uint16_t bound = listener->Port();
    listener->SetDeleteByHandler();
    mHandler.Add(listener.release());
    return bound;
}

void TalvoKLVComms::RunSelect() {
    while (mRunning) {
        mHandler.Select(1, 0);
    }
}

void TalvoKLVComms::Connect(std::uint32_t ip) {
    AUDIT(Feature::Information, "Connecting to %s\n", Utility::DottedIp(ip).c_str());
    StartConnecting(ip, mPorts.mIo, true);
}

void TalvoKLVComms::ConnectUpdater() {
    AUDIT(Feature::Information, "Connecting to %s\n", Utility::DottedIp(kLoopbackIp).c_str());
    StartConnecting(kLoopbackIp, mPorts.mUpdater, false);
}

void TalvoKLVComms::StartConnecting(std::uint32_t ip, std::uint16_t port, bool dropAtClose) {
    auto stream = std::make_unique<TalvoKLVStream>(mHandler);
    stream->SetConnectionRetry(-1);
    stream->SetReconnect(true);
    stream->SetDeleteByHandler();
    if (dropAtClose) {
        stream->DropAtClose();
    }
    stream.release()->Connect(mHandler, Utility::DottedIp(ip), port);
}

bool TalvoKLVComms::IsPort(unsigned port) const {
    if (port < mStreams.size()) {
        return true;
    }
    AUDIT(Feature::Fault, "Invalid port number %u, must be in the range [0,%zu)\n", port, mStreams.size());
    return false;
}

TalvoKLVStream*& TalvoKLVComms::Place(unsigned port, StreamType type) {
    return mStreams[port][static_cast<std::size_t>(type)];
}

bool TalvoKLVComms::IsConnected(unsigned port, StreamType type) {
    return GetStream(port, type) != nullptr;
}

TalvoKLVStream* TalvoKLVComms::GetStream(unsigned port, StreamType type) {
    const std::lock_guard lock(mMutex);
    return IsPort(port) ? Place(port, type) : nullptr;
}

bool TalvoKLVComms::SendCmd(unsigned port, const DeskCommand& command, StreamType type) {
    const std::lock_guard lock(mMutex);
    if (!IsPort(port)) {
        return false;
    }
    AUDIT(Feature::CommsDebug, "TalvoKLVComms::SendCmd Port %u Cmd Id %u Stream Type %s\n", port,
          command.mCommandId, TypeName(type));
    TalvoKLVStream* const stream = Place(port, type);
    if (stream == nullptr) {
        AUDIT(Feature::Fault, "KLV stream NOT present at Port %u, send request ignored\r\n", port);
        return false;
    }
    command.Write(*stream);
    return true;
}

bool TalvoKLVComms::SendCmdToMaster(const DeskCommand& command) {
    return SendCmd(0, command, StreamType::Master);
}

bool TalvoKLVComms::SendCmdToPort(const DeskCommand& command, unsigned port) {
    return SendCmd(port, command, StreamType::Local);
}

void TalvoKLVComms::Disconnect(unsigned port, StreamType type) {
    if (port >= mStreams.size()) {
        AUDIT_ASSERT_TEXT(false, "Port < mStreams.size()");
        AUDIT(Feature::Assert, "Invalid port number, must be in the range [0,%zu)\n", mStreams.size());
        return;
    }
    const std::lock_guard lock(mMutex);
    TalvoKLVStream* const stream = Place(port, type);
    if (stream == nullptr) {
        AUDIT(Feature::Information,
              "TalvoKLVComms::Disconnect Stream not found marking as closed %u Stream Type %s\n", port,
              TypeName(type));
        PostStreamChange(port, type, false);
        return;
    }
    stream->SetRetryClientConnect(false);
    stream->ShutdownStreamViaHandler();
}

void TalvoKLVComms::AddStream(TalvoKLVStream& stream) {
    const std::lock_guard lock(mMutex);
    const std::uint32_t network = stream.LocalIp() & kNetwork;
    AUDIT(Feature::CommsDebug, "AddKLVStream StreamIp %s\n", NetworkText(network).c_str());
    if (IsUpdater(stream)) {
        PostUpdaterConnected();
    } else if (stream.IsLoopback()) {
        AUDIT(Feature::Information, "Adding simulated box KLV stream\n");
        KeepOutside(stream, mSimulatedStreams);
        return;
    }
    const StreamType type = GetStreamType(stream);
    for (unsigned port = 0; port < mStreams.size(); ++port) {
        const std::uint32_t portNetwork = GetPortIp(port) & kNetwork;
        AUDIT(Feature::CommsDebug, "AddKLVStream PortIp %s StreamIp %s\n", NetworkText(portNetwork).c_str(),
              NetworkText(network).c_str());
        if (portNetwork == network || type == StreamType::Master) {
            PutInPlace(stream, port, type);
            return;
        }
    }
    AUDIT(Feature::Fault, "Failed to add %s stream to for %s\n", TypeName(type),
          Utility::DottedIp(stream.RemoteIp()).c_str());
    KeepOutside(stream, mStrayStreams);
}

void TalvoKLVComms::PutInPlace(TalvoKLVStream& stream, unsigned port, StreamType type) {
    TalvoKLVStream*& place = Place(port, type);
    if (place != nullptr && place != &stream) {
        place->ShutdownStreamViaHandler();
    }
    place = &stream;
    stream.SetDeleteByHandler();
    AUDIT(Feature::CommsDebug, "Added %s stream IP %s to Port %u\n", TypeName(type),
          Utility::DottedIp(stream.RemoteIp()).c_str(), port);
    PostStreamChange(port, type, true);
}

/// Streams outside the table serve nobody, so no more than some are kept.
void TalvoKLVComms::KeepOutside(TalvoKLVStream& stream, std::list<TalvoKLVStream*>& streams) {
    streams.remove(&stream);
    streams.push_back(&stream);
    if (streams.size() > kMaxOutside) {
        AUDIT(Feature::Fault, "TalvoKLVComms: too many streams without a place, ending the oldest\n");
        streams.front()->ShutdownStreamViaHandler();
        streams.pop_front();
    }
}

void TalvoKLVComms::RemoveStream(TalvoKLVStream& stream) {
    const std::lock_guard lock(mMutex);
    const std::string peer = Utility::DottedIp(stream.RemoteIp());
    mSimulatedStreams.remove(&stream);
    mStrayStreams.remove(&stream);
    const bool wasPlaced = ClearPlace(stream, peer);
    if (IsUpdater(stream)) {
        AUDIT(Feature::RouterConnectionDebug, "Removing Java Updater KLV stream for %s\n", peer.c_str());
        PostUpdaterConnected();
    } else if (!wasPlaced) {
        AUDIT(Feature::Fault, "No matching %s stream for %s to remove, ignoring\n",
              TypeName(GetStreamType(stream)), peer.c_str());
    }
}

/// Whether the stream stood in the table.
bool TalvoKLVComms::ClearPlace(const TalvoKLVStream& stream, const std::string& peer) {
    const StreamType type = GetStreamType(stream);
    for (unsigned port = 0; port < mStreams.size(); ++port) {
        TalvoKLVStream*& place = Place(port, type);
        if (place == &stream) {
            AUDIT(Feature::RouterConnectionDebug, "Removing %s KLV stream for %s on port%u\n", TypeName(type),
                  peer.c_str(), port);
            place = nullptr;
            PostStreamChange(port, type, false);
            return true;
        }
    }
    return false;
}

/// A router's own port may happen to have the updater's number.
bool TalvoKLVComms::IsUpdater(const TalvoKLVStream& stream) const {
    return stream.IsLoopback() && stream.RemotePort() == mPorts.mUpdater;
}

int TalvoKLVComms::FindPort(const TalvoKLVStream& stream) {
    const std::lock_guard lock(mMutex);
    const auto found = std::find_if(mStreams.begin(), mStreams.end(), [&stream](const LinkStreams& streams) {
        return std::find(streams.begin(), streams.end(), &stream) != streams.end();
    });
    return found == mStreams.end() ? -1 : static_cast<int>(found - mStreams.begin());
}

iRouterKLVComms::StreamType TalvoKLVComms::GetStreamType(const TalvoKLVStream& stream) const {
    if (stream.RemotePort() == mPorts.mMaster) {
        return StreamType::ToMaster;
    }
    return stream.LocalPort() == mPorts.mMaster ? StreamType::Master : StreamType::Local;
}

std::uint32_t TalvoKLVComms::GetPortIp(unsigned port) const {
    if (port >= mPorts.mInterfaces.size()) {
        return 0;
    }
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        return 0;
    }
    ifreq request{};
    mPorts.mInterfaces[port].copy(request.ifr_name, IFNAMSIZ - 1);
    const bool hasAddress = ioctl(descriptor, SIOCGIFADDR, &request) == 0;
    close(descriptor);
    sockaddr_in address{};
    std::memcpy(&address, &request.ifr_addr, sizeof address);
    return hasAddress ? ntohl(address.sin_addr.s_addr) : 0;
}

void TalvoKLVComms::PostStreamChange(unsigned port, StreamType type, bool connected) {
    boost::asio::post(mService, [signal = mStreamChanged, port, type, connected] {
        (*signal)(static_cast<unsigned char>(port), type, connected);
    });
}

void TalvoKLVComms::PostUpdaterConnected() {
    boost::asio::post(mService, [signal = mUpdaterConnected] { (*signal)(); });
}
