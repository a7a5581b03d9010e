#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "Ipv4Address.h"
#include "RingBuffer.h"
#include "StreamSocket.h"

/// A TCP connection with an input ring and an output buffer. `SendBuf` may be called on any thread; all else
/// is the handler's thread's, or its owner's before `Add`.
class TcpSocket : public StreamSocket {
  public:
    /// Sizes in bytes.
    TcpSocket(ISocketHandler& handler, std::size_t inputSize, std::size_t outputSize);
    ~TcpSocket() override;

    /// Starts to connect, without waiting: false where that can't even begin. `host` is a dotted address. On
    /// the handler's thread, or before `Add`. The events tell what becomes of it; attempts are an interval
    /// apart (StreamSocket's times) while ConnectionRetry allows them.
    bool Open(const std::string& host, std::uint16_t port);

    /// Takes a connection that a listener has accepted. Before `Add`.
    void AttachAccepted(int descriptor);

    /// Sends what the system takes at once and keeps the rest, in order, for the loop. Before the connection
    /// stands the bytes wait for it. Where the output buffer has no room the connection is given up, with a
    /// log entry. Any thread; calls of several threads don't mix their bytes.
    void SendBuf(const void* data, std::size_t size, int flags = 0);

    /// SendBuf of a text.
    void Send(const std::string& text, int flags = 0) { SendBuf(text.data(), text.size(), flags); }

    bool IsConnected() const { return mState == State::Connected; }

    /// Reads once into the ring's free space. An end or an error of the connection ends in `OnDisconnect`,
    /// and in closing or in a new attempt.
    void OnRead() override;
    void OnWrite() override;
    void OnDisconnect() override {}
    using Socket::OnDisconnect;

    bool WantsRead() const override;
    bool WantsWrite() const override;
    bool HasToFlush(Clock::time_point now) override;
    bool TakeCallOnConnect() override;
    void CallOnConnect() override;
    Clock::time_point NextDeadline() const override;
    void OnDeadline(Clock::time_point now) override;
    void Close() override;

  protected:
    RingBuffer& InputBuffer() { return mInput; }
    const RingBuffer& InputBuffer() const { return mInput; }

  private:
    enum class State { Idle, Connecting, AwaitingRetry, Connected, Ended };
    enum class Event { None, Accept, Connect, Reconnect };

    bool StartConnect();
    void FinishConnect();
    void FailConnect(const std::string& call, int code);
    bool MayTryAgain() const;
    void TryLater();
    void LoseConnection(short info, int code);
    void GiveUp(int code);
    void FlushOutput();
    void DropOutput();
    bool HasOutput() const;

    RingBuffer mInput;
    const std::size_t mOutputSize;
    std::atomic<State> mState{State::Idle};
    Event mEvent = Event::None;  ///< to be called by the loop
    bool mIsClient = false;
    bool mWasConnected = false;
    int mAttempts = 0;
    Ipv4Address mRemote{0, 0};
    Clock::time_point mDeadline = Clock::time_point::max();
    bool mSaidFlushing = false;

    mutable std::mutex mOutputMutex;  ///< the output, the state's changes, and closing against a sender
    std::vector<char> mOutput;        ///< kept from mOutputSent on
    std::size_t mOutputSent = 0;
    std::atomic<int> mLostCode{0};  ///< why a write has given the connection up; 0 while none has
};
