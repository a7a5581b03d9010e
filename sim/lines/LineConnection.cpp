#include "BenchConnection.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <utility>

#include "Board.h"
#include "EventLoopLink.h"
#include "IdleWait.h"

namespace sim {
namespace {

using boost::system::error_code;

constexpr std::size_t kMaxOutput = 65536;  // more replies than this aren't gathered before they are written
constexpr std::chrono::seconds kDrainTime{1};

}  // namespace

BenchConnection::BenchConnection(boost::asio::io_service& service, boost::asio::ip::tcp::socket socket,
                                 Board& board, EventLoopLink& loop, std::function<void()> atEnd)
    : mService(service),
      mSocket(std::move(socket)),
      mBoard(board),
      mLoop(loop),
      mAtEnd(std::move(atEnd)),
      mRequests(board),
      mDrainTimer(service) {}

BenchConnection::~BenchConnection() {
    mAtEnd();
}

void BenchConnection::GoOn() {
    if (!mIsEnding && !mWait) {
        HandleLines();
    }
    if (!mOutput.empty()) {
        WriteOutput();
    } else if (mIsEnding) {
        Drain();
    } else if (mWait) {
        WaitForIdle(*mWait);
    } else {
        ReadMore();
    }
}

void BenchConnection::HandleLines() {
    std::size_t handled = 0;
    while (!mWait && !mIsEnding && mOutput.size() < kMaxOutput) {
        const std::size_t end = mInput.find('\n', std::max(handled, mScanned));
        const std::size_t length = std::min(end, mInput.size()) - handled;
        if (length > kMaxLine) {
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

void BenchConnection::HandleLine(std::string line) {
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    const BenchAnswer answer = mRequests.Handle(line);
    if (answer.mWait) {
        mWait = answer.mWait;
        return;
    }
    mOutput += answer.mReply;
    mOutput += '\n';
}

void BenchConnection::ReadMore() {
    mSocket.async_read_some(boost::asio::buffer(mChunk),
                            [self = shared_from_this()](const error_code& error, std::size_t count) {
                                if (!error) {
                                    self->mInput.append(self->mChunk.data(), count);
                                    self->GoOn();
                                }
                            });
}

void BenchConnection::WriteOutput() {
    boost::asio::async_write(mSocket, boost::asio::buffer(mOutput),
                             [self = shared_from_this()](const error_code& error, std::size_t) {
                                 if (!error) {
                                     self->mOutput.clear();
                                     self->GoOn();
                                 }
                             });
}

void BenchConnection::WaitForIdle(std::chrono::milliseconds limit) {
    const auto wait = std::make_shared<IdleWait>(
        mService, mBoard, mLoop, limit, [self = shared_from_this()](const std::string& failure) {
            self->mWait.reset();
            self->mOutput = failure.empty() ? "ok\n" : "error " + failure + "\n";
            self->GoOn();
        });
    wait->Start();
}

void BenchConnection::Refuse() {
    mOutput += "error the line is longer than " + std::to_string(kMaxLine) + " bytes; the connection ends\n";
    mIsEnding = true;
}

/// Closing while the client still sends would throw away the reply on its way, so take what it sends for a
/// moment.
void BenchConnection::Drain() {
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

void BenchConnection::DiscardInput() {
    mSocket.async_read_some(boost::asio::buffer(mChunk),
                            [self = shared_from_this()](const error_code& error, std::size_t) {
                                if (!error) {
                                    self->DiscardInput();
                                }
                            });
}

}  // namespace sim
