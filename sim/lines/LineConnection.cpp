#include "LineConnection.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <utility>

namespace sim {
namespace {

using boost::system::error_code;

constexpr std::size_t kMaxOutput = 65536;  // more replies than this aren't gathered before they are written
constexpr std::chrono::seconds kDrainTime{1};

}  // namespace

LineConnection::LineConnection(boost::asio::io_service& service, boost::asio::ip::tcp::socket socket,
                               std::size_t maxLine, LineHandler handler, std::function<void()> atEnd)
    : mSocket(std::move(socket)),
      mMaxLine(maxLine),
      mHandler(std::move(handler)),
      mAtEnd(std::move(atEnd)),
      mDrainTimer(service) {}

LineConnection::~LineConnection() {
    mAtEnd();
}

void LineConnection::GoOn() {
    if (!mIsEnding && !mLater) {
        HandleLines();
    }
    if (!mOutput.empty()) {
        WriteOutput();
    } else if (mIsEnding) {
        Drain();
    } else if (mLater) {
        AwaitReply();
    } else {
        ReadMore();
    }
}

void LineConnection::HandleLines() {
    std::size_t handled = 0;
    while (!mLater && !mIsEnding && mOutput.size() < kMaxOutput) {
        const std::size_t end = mInput.find('\n', std::max(handled, mScanned));
        const std::size_t length = std::min(end, mInput.size()) - handled;
        if (length > mMaxLine) {
            Refuse();
        } else if (end == std::string::npos) {
            mScanned = mInput.size();
            break;
        } else {
            HandleLine(mInput.substr(handled, length));
            handled = end + 1;
        }
    }
    mInput.erase(0, handled);
    mScanned -= std::min(mScanned, handled);
}

void LineConnection::HandleLine(std::string line) {
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    const LineAnswer answer = mHandler(line);
    if (answer.mLater) {
        mLater = answer.mLater;
        return;
    }
    mOutput += answer.mReply;
    mOutput += '\n';
}

void LineConnection::ReadMore() {
    mSocket.async_read_some(boost::asio::buffer(mChunk),
                            [self = shared_from_this()](const error_code& error, std::size_t count) {
                                if (!error) {
                                    self->mInput.append(self->mChunk.data(), count);
                                    self->GoOn();
                                }
                            });
}

void LineConnection::WriteOutput() {
    boost::asio::async_write(mSocket, boost::asio::buffer(mOutput),
                             [self = shared_from_this()](const error_code& error, std::size_t) {
                                 if (!error) {
                                     self->mOutput.clear();
                                     self->GoOn();
                                 }
                             });
}

void LineConnection::AwaitReply() {
    mLater([self = shared_from_this()](const std::string& reply) {
        self->mLater = nullptr;
        self->mOutput = reply + "\n";
        self->GoOn();
    });
}

void LineConnection::Refuse() {
    mOutput += "error the line is longer than " + std::to_string(mMaxLine) + " bytes; the connection ends\n";
    mIsEnding = true;
}

/// Closing while the client still sends would throw away the reply on its way, so take what it sends for a
/// moment.
void LineConnection::Drain() {
    error_code ignored;
    mSocket.shutdown(boost::asio::ip::tcp::socket::shutdown_send, ignored);
    mDrainTimer.expires_after(kDrainTime);
    mDrainTimer.async_wait([weak = weak_from_this()](const error_code&) {
        if (const auto self = weak.lock()) {
            error_code ignoredToo;
            self->mSocket.close(ignoredToo);
        }
    });
    DiscardInput();
}

void LineConnection::DiscardInput() {
    mSocket.async_read_some(boost::asio::buffer(mChunk),
                            [self = shared_from_this()](const error_code& error, std::size_t) {
                                if (!error) {
                                    self->DiscardInput();
                                }
                            });
}

}  // namespace sim
