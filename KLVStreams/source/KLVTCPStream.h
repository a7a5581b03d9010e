#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "DataStream.h"
#include "IEventTimer.h"
#include "IEventTimerHandler.h"
#include "IOStream.h"
#include "TcpSocket.h"

class ISocketHandler;

/// A TCP connection that carries KLV messages: reassembles them from the input ring, hands each complete one
/// to `ProcessKey`, and can gather small outgoing ones into larger segments.
///
/// Reading, and the socket's events, are the handler's thread's. `WriteData` and `Commit` may be called on
/// another thread, by one at a time.
class KLVTCPStream : public DataStream, public TcpSocket, public IEventTimerHandler {
  public:
    static constexpr std::size_t kBufferSize = 0x40000;  ///< bytes, of the input ring and the output buffer

    /// The longest value that is processed straight from the ring. A longer one goes through a copy in
    /// memory; what the ring has beyond this is left for the message that follows.
    static constexpr std::uint32_t kMaxDirectLength = 0x3AFF0;

    /// A header that announces more than this is none, and ends the stream.
    static constexpr std::uint32_t kMaxLength = 16 * 1024 * 1024;

    enum class CoalesceState : std::uint8_t { None, Fixed, Mtu };

    explicit KLVTCPStream(ISocketHandler& handler);
    ~KLVTCPStream() override;

    /// Starts to connect to a dotted address, and joins the handler's loop.
    virtual void Connect(ISocketHandler& handler, const std::string& host, std::uint16_t port);

    // DataStream: of the message in hand.
    bool ReadData(void* buffer, std::size_t size) override;
    bool WriteData(const void* buffer, std::size_t size) override;
    void IgnoreData(std::size_t size) override;
    void Commit() override;

    // Socket events.
    void OnRead() override;
    void OnAccept() override;
    void OnConnect() override;
    void OnReconnect() override;
    void OnDisconnect() override;
    void OnDisconnect(short info, int code) override;
    void OnConnectFailed() override { mConnectFailed = true; }
    void OnDelete() override;

    /// Ends the stream: how any code outside the socket thread does it. Any thread.
    virtual void ShutdownStreamViaHandler();

    /// Gathers output: it goes out `periodMs` after the last write, or when `bufferSize` bytes
    /// are there; a size of 0 takes the path's segment size, once the connection stands. The timer fires by
    /// EventTimerManager's Service, on that thread.
    void SetCoalesce(std::uint32_t periodMs, std::size_t bufferSize);

    /// Tells of a suspiciously long message with the headers before it, on all streams, and remembers this
    /// one. For hunting broken framing; any thread.
    static void CheckKeyLength(std::uint32_t remoteIp, std::uint32_t key, std::uint32_t length);

    /// Whether the connection came in through a listener. Only of a connected stream.
    bool IsAccepted() const;
    bool IsConnected() const { return mConnected; }
    bool HasConnectFailed() const { return mConnectFailed; }
    bool IsDeleted() const { return mDeleted; }
    bool OpenResult() const { return mOpenResult; }

    /// Whether both ends have the same address.
    bool IsLoopback() const { return mLoopback; }
    std::uint16_t LocalPort() const { return mLocalPort; }
    std::uint16_t RemotePort() const { return mRemotePort; }
    std::uint32_t LocalIp() const { return mLocalIp; }    ///< host order
    std::uint32_t RemoteIp() const { return mRemoteIp; }  ///< host order
    std::uint8_t RemoteRackId() const { return mRemoteRackId; }
    CoalesceState GetCoalesceState() const { return mCoalesceState; }
    std::size_t CoalesceSize() const { return mCoalesceSize; }

    /// The first value of the rack id that a connection's two addresses (host order) tell.
    static std::uint8_t RackIdOf(std::uint32_t localIp, std::uint32_t remoteIp);

  protected:
    /// One complete message, to be read from this stream or from `stream`: its header, then its value. What
    /// is left of it is discarded afterwards. Returns 0 where the kind of message isn't known.
    virtual int ProcessKey(std::uint32_t keyType);
    virtual int ProcessKey(std::uint32_t keyType, DataStream& stream);

    virtual void OnReadStart() {}
    virtual void OnReadHook() {}
    virtual void OnReadDone() {}

  private:
    enum class ReadState { WaitingForHeader, WaitingForData };

    void TimerExpired(IEventTimer& timer) override;
    void CoalesceTimerExpired();

    void ReadMessages();
    bool ReadStep();
    bool ReadHeader();
    bool ReadDirect();
    bool ReadOverflow();
    bool CollectOverflow();
    void BeginMessage();
    void Process(DataStream* overflow);
    void EndMessage();
    void ResetOverflow();
    std::size_t TakeHeader(void* buffer, std::size_t size);
    bool ReadValue(char* buffer, std::size_t size);

    void ReadPeerInfo();
    void ReadLocalEnd();
    void ReadRemoteEnd();
    void ClassifyPeer();
    void AdoptPathMtu();
    void LogPeer(const char* event);

    void Flush();

    bool mOpenResult = true;
    std::atomic<bool> mConnected{false};
    std::atomic<bool> mConnectFailed{false};
    std::atomic<bool> mDeleted{false};

    ReadState mReadState = ReadState::WaitingForHeader;
    bool mHeaderRead = true;  ///< the header has been read; reads see the value
    std::uint32_t mKey = 0;
    std::uint32_t mLength = 0;
    std::size_t mHeaderPos = 0;  ///< of the header's bytes, the next one that a reader gets
    std::size_t mHeaderLeft = 0;
    std::size_t mValueLeft = 0;  ///< bytes of the value that no reader has taken yet
    IOStream mOverflowStream;
    bool mInOverflow = false;
    bool mHasLeftover = false;  ///< reading was paused before the ring was worked off

    std::uint16_t mLocalPort = 0xFF;
    std::uint16_t mRemotePort = 0xFF;
    std::uint32_t mLocalIp = 0;
    std::uint32_t mRemoteIp = 0;
    std::uint8_t mRemoteRackId = 0xFF;
    bool mAccepted = false;
    std::atomic<bool> mShuttingDown{false};

    CoalesceState mCoalesceState = CoalesceState::None;
    std::vector<char> mCoalesceBuffer;
    std::size_t mCoalesceSize = 0;
    std::size_t mCoalesceUsed = 0;
    std::size_t mCoalesceMessages = 0;
    std::shared_ptr<IEventTimer> mCoalesceTimer;
    bool mLoopback = false;
};
