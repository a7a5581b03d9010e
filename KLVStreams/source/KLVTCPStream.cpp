#include "KLVTCPStream.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <mutex>

#include "Audit.h"
#include "CommandTimingStats.h"
#include "EventTimerManager.h"
#include "ISocketHandler.h"
#include "KLVCommandSets.h"
#include "KLVTags.h"
#include "LittleEndian.h"
#include "Utility.h"

namespace {

constexpr std::uint32_t kSuspectLength = 0x4000;
constexpr std::size_t kHistoryLength = 20;

struct Header {
    std::uint32_t mKey;
    std::uint32_t mLength;
};

/// The headers that CheckKeyLength has seen last.
struct HeaderHistory {
    std::mutex mMutex;
    std::deque<Header> mHeaders;
};

HeaderHistory& History() {
    static HeaderHistory history;
    return history;
}

}  // namespace

KLVTCPStream::KLVTCPStream(ISocketHandler& handler) : TcpSocket(handler, kBufferSize, kBufferSize) {}

KLVTCPStream::~KLVTCPStream() {
    if (mCoalesceTimer != nullptr) {
        EventTimerManager::Instance().Cancel(mCoalesceTimer->Id());
    }
}

void KLVTCPStream::Connect(ISocketHandler& handler, const std::string& host, std::uint16_t port) {
    AUDIT(Feature::CommsVerboseDebug, "TCP Connect to remote at %s:%u\n", host.c_str(), unsigned{port});
    mOpenResult = Open(host, port);
    mRemotePort = port;
    handler.Add(this);
}

void KLVTCPStream::OnRead() {
    if (mHasLeftover) {
        // What has been read comes first: the connection's end, which the next read may find, closes the
        // stream.
        ReadMessages();
        if (mHasLeftover) {
            return;
        }
    }
    TcpSocket::OnRead();
    AUDIT(Feature::CommsVerboseDebug, "OnRead()\n");
    OnReadStart();
    ReadMessages();
}

void KLVTCPStream::ReadMessages() {
    mHasLeftover = false;
    while (!mShuttingDown) {
        if (IsReadPaused()) {
            mHasLeftover = true;
            return;
        }
        if (!ReadStep()) {
            return;
        }
    }
}

/// Goes one state further; false where that needs more bytes.
bool KLVTCPStream::ReadStep() {
    switch (mReadState) {
        case ReadState::WaitingForHeader:
            return ReadHeader();
        case ReadState::WaitingForData:
            AUDIT(Feature::CommsVerboseDebug, "Key 0x%lx Waiting for %d bytes of data buf=%d\r\n",
                  static_cast<unsigned long>(mKey), static_cast<int>(mLength),
                  static_cast<int>(InputBuffer().GetLength()));
            return mLength <= kMaxDirectLength ? ReadDirect() : ReadOverflow();
    }
    AUDIT_ASSERT(false);
    return false;
}

bool KLVTCPStream::ReadHeader() {
    AUDIT(Feature::CommsVerboseDebug, " Waiting for key+len buf=%d\r\n",
          static_cast<int>(InputBuffer().GetLength()));
    std::array<unsigned char, kKlvHeaderSize> header{};
    if (!InputBuffer().Read(header.data(), header.size())) {
        return false;
    }
    mKey = little_endian::Load<std::uint32_t>(header.data());
    mLength = little_endian::Load<std::uint32_t>(header.data() + sizeof mKey);
    if (mLength > kMaxLength) {
        AUDIT(Feature::Fault, "KLVTCPStream: %s announces a message of %u bytes, ending the stream\r\n",
              Utility::DottedIp(mRemoteIp).c_str(), mLength);
        ShutdownStreamViaHandler();
        return false;
    }
    mReadState = ReadState::WaitingForData;
    if (mInOverflow) {
        ResetOverflow();
    }
    return true;
}

bool KLVTCPStream::ReadDirect() {
    if (InputBuffer().GetLength() < mLength) {
        return false;
    }
    BeginMessage();
    Process(nullptr);
    EndMessage();
    return true;
}

bool KLVTCPStream::ReadOverflow() {
    if (!CollectOverflow()) {
        return false;
    }
    BeginMessage();
    Process(&mOverflowStream);
    ResetOverflow();
    EndMessage();
    return true;
}

/// Moves what the ring has of a long message into memory, behind a copy of its header; true once it is whole.
bool KLVTCPStream::CollectOverflow() {
    if (!mInOverflow) {
        std::array<unsigned char, kKlvHeaderSize> header{};
        little_endian::Store(mKey, header.data());
        little_endian::Store(mLength, header.data() + sizeof mKey);
        mOverflowStream.WriteData(header.data(), header.size());
        mInOverflow = true;
    }
    AUDIT(Feature::CommsVerboseDebug, " Waiting for %d bytes of overflow data buf=%d\r\n",
          static_cast<int>(mLength), static_cast<int>(InputBuffer().GetLength()));
    const std::size_t missing = mLength - mOverflowStream.BytesWritten();
    std::vector<char> bytes(std::min(InputBuffer().GetLength(), missing));
    if (bytes.empty()) {
        return false;
    }
    InputBuffer().Read(bytes.data(), bytes.size());
    if (mOverflowStream.IsWriteEnabled()) {
        mOverflowStream.WriteData(bytes.data(), bytes.size());
    }
    mOverflowStream.CountWritten(bytes.size());
    return mOverflowStream.BytesWritten() >= mLength;
}

void KLVTCPStream::BeginMessage() {
    mHeaderRead = false;
    mHeaderPos = 0;
    mHeaderLeft = kKlvHeaderSize;
    mValueLeft = mLength;
}

void KLVTCPStream::Process(DataStream* overflow) {
    CommandTimingStats& timing = CommandTimingStats::Instance();
    timing.BeginKey(mKey);
    const std::uint32_t keyType = klv_key::KeyType(mKey);
    const int result = overflow != nullptr ? ProcessKey(keyType, *overflow) : ProcessKey(keyType);
    timing.EndKey();
    if (result == 0) {
        AUDIT(Feature::Fault, "KLVTCPStream::OnRead() (Length %s 262144): Could not process key type 0x%x\n",
              overflow != nullptr ? ">" : "<=", keyType);
        Skip(mLength + kKlvHeaderSize, true);
    }
}

/// Whatever the message's reader has left of it goes, so that the next one starts where it should.
void KLVTCPStream::EndMessage() {
    if (mHeaderLeft + mValueLeft > 0 && !mInOverflow && mLength <= kMaxDirectLength) {
        CountRead(mHeaderLeft + mValueLeft);
        InputBuffer().Remove(mValueLeft);
    }
    mHeaderLeft = 0;
    mValueLeft = 0;
    mHeaderRead = true;
    OnReadDone();
    mReadState = ReadState::WaitingForHeader;
}

void KLVTCPStream::ResetOverflow() {
    mOverflowStream.Reset();
    mInOverflow = false;
}

int KLVTCPStream::ProcessKey(std::uint32_t /*keyType*/) {
    return 0;
}

int KLVTCPStream::ProcessKey(std::uint32_t /*keyType*/, DataStream& /*stream*/) {
    return 0;
}

bool KLVTCPStream::ReadData(void* buffer, std::size_t size) {
    AUDIT(Feature::CommsVerboseDebug, "ReadData( 0x%-8.8lx, %zu )\n", reinterpret_cast<unsigned long>(buffer),
          size);
    if (size > mHeaderLeft + mValueLeft) {
        return false;
    }
    const std::size_t header = TakeHeader(buffer, size);
    return header == size || ReadValue(static_cast<char*>(buffer) + header, size - header);
}

/// The part of a read that falls into the saved header; gives its size.
std::size_t KLVTCPStream::TakeHeader(void* buffer, std::size_t size) {
    const std::size_t part = std::min(size, mHeaderLeft);
    if (mHeaderRead || part == 0) {
        return 0;
    }
    std::array<unsigned char, kKlvHeaderSize> header{};
    little_endian::Store(mKey, header.data());
    little_endian::Store(mLength, header.data() + sizeof mKey);
    std::memcpy(buffer, header.data() + mHeaderPos, part);
    mHeaderPos += part;
    mHeaderLeft -= part;
    mHeaderRead = mHeaderLeft == 0;
    AUDIT(Feature::CommsVerboseDebug, " copy %zu from KeyLenPtr into 0x%-8.8lx\n", part,
          reinterpret_cast<unsigned long>(buffer));
    return part;
}

bool KLVTCPStream::ReadValue(char* buffer, std::size_t size) {
    mValueLeft -= size;
    const auto address = reinterpret_cast<unsigned long>(buffer);
    if (!mInOverflow) {
        const bool isRead = InputBuffer().Read(buffer, size);
        AUDIT(Feature::CommsVerboseDebug, " read %d from ibuf into 0x%-8.8lx. Success=%d\n",
              static_cast<int>(size), address, isRead ? 1 : 0);
        return isRead;
    }
    const bool isRead = mOverflowStream.ReadData(buffer, size);
    if (isRead) {
        mOverflowStream.CountRead(size);
    }
    AUDIT(Feature::CommsVerboseDebug, " read %d from overflow stream into 0x%-8.8lx. Success=%d\n",
          static_cast<int>(size), address, isRead ? 1 : 0);
    return isRead;
}

void KLVTCPStream::IgnoreData(std::size_t size) {
    if (!mHeaderRead) {
        const std::size_t part = std::min(size, mHeaderLeft);
        AUDIT(Feature::CommsVerboseDebug, " IgnoreData() : Skipping %d bytes\n", static_cast<int>(part));
        mHeaderPos += part;
        mHeaderLeft -= part;
        mHeaderRead = mHeaderLeft == 0;
        size -= part;
    }
    if (size == 0) {
        return;
    }
    const std::size_t inMessage = std::min(size, mValueLeft);
    mValueLeft -= inMessage;
    if (!mInOverflow) {
        AUDIT(Feature::CommsVerboseDebug, " IgnoreData() : Removing %d bytes from buf\n",
              static_cast<int>(size));
        const bool isRemoved = InputBuffer().Remove(inMessage) && inMessage == size;
        AUDIT_ASSERT_TEXT(isRemoved, "ibuf.Remove( Size )");
        return;
    }
    AUDIT(Feature::CommsVerboseDebug, " IgnoreData() overflow : Removing %d bytes from buf\n",
          static_cast<int>(size));
    mOverflowStream.Skip(static_cast<std::uint32_t>(inMessage), true);
}

void KLVTCPStream::CheckKeyLength(std::uint32_t remoteIp, std::uint32_t key, std::uint32_t length) {
    HeaderHistory& history = History();
    const std::lock_guard lock(history.mMutex);
    if (length > kSuspectLength) {
        Audit& audit = Audit::Instance();
        audit.Output("*** SUSPECT KEY LENGTH from 0x%-8.8lx: KEY=0x%-8.8lx LEN=%d ***\n",
                     static_cast<unsigned long>(remoteIp), static_cast<unsigned long>(key),
                     static_cast<int>(length));
        audit.Output("Previous %d keys...\n", static_cast<int>(history.mHeaders.size()));
        for (const Header& header : history.mHeaders) {
            audit.Output("KEY=0x%-8.8lx LEN=%d, ", static_cast<unsigned long>(header.mKey),
                         static_cast<int>(header.mLength));
        }
        audit.Output("\n\n");
    }
    history.mHeaders.push_back({key, length});
    if (history.mHeaders.size() > kHistoryLength) {
        history.mHeaders.pop_front();
    }
}
