#include "ClientConnection.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/read_until.hpp>
#include <iostream>
#include <utility>

namespace cmd {

namespace {

std::string PeerText(const boost::asio::ip::tcp::socket& socket) {
    boost::system::error_code error;
    const boost::asio::ip::tcp::endpoint peer = socket.remote_endpoint(error);
    return error ? "that has gone" : peer.address().to_string() + ":" + std::to_string(peer.port());
}

}  // namespace

ClientConnection::ClientConnection(boost::asio::ip::tcp::socket socket, char delimiter,
                                   std::shared_ptr<std::size_t> unsentToAll, Handler handler)
    : mSocket(std::move(socket)),
      mPeer(PeerText(mSocket)),
      mHandler(std::move(handler)),
      mDelimiter(delimiter),
      mUnsentToAll(std::move(unsentToAll)),
      mLastRead(mSocket.get_executor()) {}

void ClientConnection::Start(const std::string& banner) {
    Send(banner);
    StartRead();
}

void ClientConnection::Send(std::string_view text) {
    if (!mSocket.is_open() || text.empty()) {
        return;
    }
    if (IsFull(text.size())) {
        Drop("it doesn't read what it is sent");
        return;
    }
    mWaiting += text;
    *mUnsentToAll += text.size();
    if (mWriting.empty()) {
        StartWrite();
    }
}

bool ClientConnection::IsFull(std::size_t more) const {
    const std::size_t unsent = mWriting.size() - mWritten + mWaiting.size() + more;
    return unsent > kMaxUnsent || (*mUnsentToAll + more > kMaxUnsentToAll && unsent > kUnsentWhenFull);
}

void ClientConnection::Drop(const char* reason) {
    if (mDropReason != nullptr) {
        return;
    }
    mDropReason = reason;
    Close();
}

void ClientConnection::ForgetWaiting() {
    *mUnsentToAll -= mWaiting.size();
    mWaiting = {};
}

void ClientConnection::Close() {
    ForgetWaiting();
    boost::system::error_code ignored;
    mSocket.close(ignored);
}

void ClientConnection::StartRead() {
    boost::asio::async_read_until(
        mSocket, mInput, mDelimiter,
        [self = shared_from_this()](const boost::system::error_code& error, std::size_t length) {
            self->OnRead(error, length);
        });
}

void ClientConnection::OnRead(boost::system::error_code error, std::size_t length) {
    if (error == boost::asio::error::not_found) {
        Drop("it typed a line longer than 64 KiB");
    } else if (mDropReason != nullptr) {
        error = boost::asio::error::operation_aborted;
    }
    if (error) {
        EndReading(error);
        mHandler(shared_from_this(), error, "");
        return;
    }
    mHandler(shared_from_this(), error, TakeLine(length));
    StartRead();
}

/// `length` counts the delimiter.
std::string ClientConnection::TakeLine(std::size_t length) {
    std::string line(static_cast<const char*>(mInput.data().data()), length - 1);
    mInput.consume(length);
    return line;
}

void ClientConnection::StartWrite() {
    if (mWritten == mWriting.size()) {
        mWriting = std::exchange(mWaiting, {});
        mWritten = 0;
    }
    if (mWriting.empty()) {
        mLastRead.cancel();
        return;
    }
    LimitWriting();
    mSocket.async_write_some(boost::asio::buffer(mWriting) + mWritten,
                             [self = shared_from_this()](const boost::system::error_code& error,
                                                         std::size_t size) { self->OnWritten(error, size); });
}

/// Replies to what was read before may still follow, and lines of the log until the end has been dealt with.
void ClientConnection::EndReading(const boost::system::error_code& error) {
    mReadingEnded = true;
    if (error != boost::asio::error::eof) {
        Close();
    }
    LimitWriting();
}

/// Once reading has ended nobody may refer to the connection but the write that is under way. That may never
/// end: not only with a client that doesn't read, but also where an earlier read or write has had the news of
/// a reset.
void ClientConnection::LimitWriting() {
    if (!mReadingEnded || mWriting.empty() || !mSocket.is_open()) {
        return;
    }
    mLastRead.expires_after(kLastRead);
    mLastRead.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
        if (!error) {
            self->Close();
        }
    });
}

void ClientConnection::OnWritten(const boost::system::error_code& error, std::size_t size) {
    if (error) {
        // What waits would meet the same end, or wait on a dead connection for ever.
        size = mWriting.size() - mWritten;
        ForgetWaiting();
        if (error != boost::asio::error::operation_aborted) {
            std::cerr << "async_write error: " << error << '\n';
        }
    }
    mWritten += size;
    *mUnsentToAll -= size;
    StartWrite();
}

}  // namespace cmd
