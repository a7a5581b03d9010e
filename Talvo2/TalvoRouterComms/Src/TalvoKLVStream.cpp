#include "TalvoKLVStream.h"

#include "Audit.h"
#include "KLVTags.h"
#include "TalvoCommandProcessor.h"
#include "TalvoKLVSocketHandler.h"
#include "Utility.h"
#include "iRouterKLVComms.h"

TalvoKLVStream::TalvoKLVStream(ISocketHandler& handler)
    : KLVTCPStream(handler),
      mHandler(dynamic_cast<TalvoKLVSocketHandler*>(&handler)),
      mBacklog(std::make_shared<CommandBacklog>(*this, mHandler != nullptr
                                                           ? mHandler->WaitingBytes()
                                                           : std::make_shared<std::atomic<std::size_t>>(0))) {
    AUDIT_ASSERT_TEXT(mHandler != nullptr,
                      "TalvoKLVStream initialised without TalvoKLVSocketHandler, this will not work\n");
}

TalvoKLVStream::~TalvoKLVStream() {
    mBacklog->Detach();
}

void TalvoKLVStream::OnAccept() {
    KLVTCPStream::OnAccept();
    if (const char* const why = WhyTurnedAway()) {
        AUDIT(Feature::Fault, "TalvoKLVStream: %s, turning %s away\n", why,
              Utility::DottedIp(RemoteIp()).c_str());
        ShutdownStreamViaHandler();
        return;
    }
    Join("OnAccept");
}

/// Null where there is room for the stream.
const char* TalvoKLVStream::WhyTurnedAway() const {
    if (mHandler == nullptr) {
        return nullptr;
    }
    if (mHandler->GetCount() > kMaxSockets) {
        return "too many connections";
    }
    // Commands of streams that have ended wait on; who connects again and again is not to add to them for
    // ever.
    return *mHandler->WaitingBytes() > kMaxWaitingBytes ? "too many commands wait" : nullptr;
}

void TalvoKLVStream::OnConnect() {
    KLVTCPStream::OnConnect();
    Join("OnConnect");
}

void TalvoKLVStream::OnReconnect() {
    KLVTCPStream::OnReconnect();
    Join("OnReconnect");
}

void TalvoKLVStream::Join(const char* event) {
    AUDIT(Feature::Information, "TalvoKLVStream::%s: %s\n", event, Utility::DottedIp(RemoteIp()).c_str());
    SetTcpNodelay();  // a command is several small writes
    if (mDropsAtClose) {
        SetSoLinger(true, 0);
    }
    if (mHandler != nullptr) {
        mHandler->Comms().AddStream(*this);
    }
}

void TalvoKLVStream::OnDisconnect() {
    AUDIT(Feature::RouterConnectionDebug, "TalvoKLVStream::OnDisconnect: %s\n",
          Utility::DottedIp(RemoteIp()).c_str());
    KLVTCPStream::OnDisconnect();
}

void TalvoKLVStream::OnDelete() {
    AUDIT(Feature::RouterConnectionDebug, "TalvoKLVStream::OnDelete: %s\n",
          Utility::DottedIp(RemoteIp()).c_str());
    KLVTCPStream::OnDelete();
    if (mHandler != nullptr) {
        mHandler->Comms().RemoveStream(*this);
    }
}

int TalvoKLVStream::ProcessKey(std::uint32_t keyType, DataStream& stream) {
    if (keyType != klv_key::kDeskCommand) {
        AUDIT_ASSERT(false);
        AUDIT(Feature::Assert, "Unknown KLV Keytype received: %d\n", static_cast<int>(keyType));
        return 0;
    }
    if (mHandler == nullptr) {
        return 1;
    }
    const int port = mHandler->Comms().FindPort(*this);
    if (port < 0) {
        AUDIT(Feature::Invalid, "Stream %s unknown to TalvoKLVComms, skipping command dispatch\n",
              Utility::DottedIp(LocalIp()).c_str());
        return 1;
    }
    const bool fromMaster = mHandler->Comms().GetStreamType(*this) == iRouterKLVComms::StreamType::Master;
    KLVCommandReadSet readSet(stream);
    mHandler->Processor().Dispatch(
        readSet, static_cast<unsigned char>(port),
        fromMaster ? iRouterKLVComms::StreamType::Master : iRouterKLVComms::StreamType::Local,
        mBacklog->Enter(readSet.Left() + kKlvHeaderSize));
    return 1;
}
