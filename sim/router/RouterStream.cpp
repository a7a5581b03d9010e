#include "RouterStream.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <utility>

#include "LineText.h"

namespace sim {
namespace {

using boost::system::error_code;

constexpr std::chrono::seconds kDialLimit{5};

}  // namespace

RouterStream::RouterStream(boost::asio::io_service& service, StreamEvents events, bool reads)
    : mSocket(service), mDialTimer(service), mEvents(std::move(events)), mReads(reads) {}

void RouterStream::Dial(const Tcp::endpoint& local, const Tcp::endpoint& box) {
    error_code failure;
    mSocket.open(Tcp::v4(), failure);
    if (!failure) {
        mSocket.bind(local, failure);
    }
    if (failure) {
        End();
        return;
    }
    mSocket.async_connect(box, [self = shared_from_this()](const error_code& error) {
        if (error) {
            self->End();
        } else {
            self->OnDialled();
        }
    });
    mDialTimer.expires_after(kDialLimit);
    mDialTimer.async_wait([weak = weak_from_this()](const error_code& error) {
        const auto self = weak.lock();
        if (self && !error && !self->mIsConnected) {
            self->End();
        }
    });
}

void RouterStream::OnDialled() {
    if (mIsClosed) {
        return;
    }
    mDialTimer.cancel();
    mIsConnected = true;
    error_code ignored;
    mSocket.set_option(Tcp::no_delay(true), ignored);
    mSocket.non_blocking(true, ignored);
    WatchForLoss();
    mEvents.mOnConnected();
    Await();
}

/// A box that is cut off says nothing, and while reading is off not even its reset would be seen.
void RouterStream::WatchForLoss() {
    constexpr int kOn = 1;
    constexpr int kProbeSeconds = 1;
    constexpr int kProbes = 3;
    constexpr unsigned kUnansweredMs = 10000;
    const int descriptor = mSocket.native_handle();
    ::setsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &kOn, sizeof kOn);
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, &kProbeSeconds, sizeof kProbeSeconds);
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, &kProbeSeconds, sizeof kProbeSeconds);
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPCNT, &kProbes, sizeof kProbes);
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, &kUnansweredMs, sizeof kUnansweredMs);
    mSocket.async_wait(Tcp::socket::wait_error, [weak = weak_from_this()](const error_code& error) {
        const auto self = weak.lock();
        if (self && !error) {
            self->End();
        }
    });
}

void RouterStream::SetReading(bool on) {
    mReads = on;
    Await();
}

void RouterStream::Await() {
    if (!mReads || mIsAwaiting || !mIsConnected) {
        return;
    }
    mIsAwaiting = true;
    mSocket.async_wait(Tcp::socket::wait_read, [self = shared_from_this()](const error_code& error) {
        self->mIsAwaiting = false;
        if (error) {
            self->End();
        } else if (self->mReads) {
            self->Read();
        }
    });
}

void RouterStream::Read() {
    error_code failure;
    const std::size_t size = mIsClosed ? 0 : mSocket.read_some(boost::asio::buffer(mChunk), failure);
    if (failure && failure != boost::asio::error::would_block) {
        End();
        return;
    }
    try {
        mReader.Take(mChunk.data(), size, mEvents.mOnMessage);
    } catch (const BadText&) {
        End();
        return;
    }
    Await();
}

void RouterStream::Send(const std::string& bytes) {
    if (!mIsConnected) {
        throw BadText("not connected");
    }
    if (mSending.size() + mWaiting.size() + bytes.size() > kMaxUnsent) {
        throw BadText("the box doesn't read: more than " + std::to_string(kMaxUnsent) +
                      " bytes would wait for it");
    }
    mWaiting += bytes;
    if (mSending.empty()) {
        Write();
    }
}

void RouterStream::Write() {
    mSending.swap(mWaiting);
    if (mSending.empty()) {
        return;
    }
    boost::asio::async_write(mSocket, boost::asio::buffer(mSending),
                             [self = shared_from_this()](const error_code& error, std::size_t) {
                                 if (error) {
                                     self->End();
                                 } else {
                                     self->mSending.clear();
                                     self->Write();
                                 }
                             });
}

void RouterStream::Close() {
    mIsClosed = true;
    mIsConnected = false;
    mDialTimer.cancel();
    error_code ignored;
    mSocket.close(ignored);
}

void RouterStream::End() {
    if (!mIsClosed) {
        Close();
        mEvents.mOnEnd();
    }
}

}  // namespace sim
