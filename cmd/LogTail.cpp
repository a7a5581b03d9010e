#include "LogTail.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/system/error_code.hpp>
#include <utility>

#include "ClientConnection.h"
#include "CommandLine.h"
#include "RemoteCommandServer.h"

namespace cmd {

LogTail::LogTail(CommandLine& commandLine) : mIo(commandLine.Io()) {}

void LogTail::Start(CommandLine& commandLine) {
    using ConnectionPtr = RemoteCommandServer::ConnectionPtr;
    RemoteCommandServer& server = commandLine.Server();
    mOnConnected = server.Connected().connect([this](const ConnectionPtr& connection) {
        if (mTailOnConnect) {
            Tail(connection, true);
        }
    });
    mOnDisconnected =
        server.Disconnected().connect([this](const ConnectionPtr& connection,
                                             const boost::system::error_code&) { Tail(connection, false); });
}

void LogTail::Append(const std::string& text) {
    if (!mWanted.load(std::memory_order_relaxed)) {
        return;
    }
    const std::lock_guard<std::mutex> lock(mMutex);
    if (mPending.size() + text.size() > kMaxPending) {
        mOverflowed = true;
    } else {
        mPending += text;
    }
    if (!mPosted) {
        mPosted = true;
        PostHandOut();
    }
}

bool LogTail::Tail(const std::shared_ptr<ClientConnection>& connection, bool wanted) {
    HandOut();
    const auto found = std::find(mTailClients.begin(), mTailClients.end(), connection);
    if (wanted && found == mTailClients.end()) {
        mTailClients.push_back(connection);
    } else if (!wanted && found != mTailClients.end()) {
        mTailClients.erase(found);
    }
    mWanted.store(!mTailClients.empty(), std::memory_order_relaxed);
    connection->SetEchoReplies(!wanted);
    return wanted;
}

void LogTail::PostHandOut() {
    boost::asio::post(mIo, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->HandOut();
        }
    });
}

void LogTail::HandOut() {
    std::string text;
    bool overflowed = false;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        text = std::exchange(mPending, {});
        overflowed = std::exchange(mOverflowed, false);
        mPosted = false;
    }
    for (const std::shared_ptr<ClientConnection>& client : mTailClients) {
        if (overflowed) {
            client->Drop("the log came faster than it could be sent");
        } else {
            client->Send(text);
        }
    }
}

}  // namespace cmd
