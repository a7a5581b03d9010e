#include "CommandBacklog.h"

#include <utility>

#include "Socket.h"

CommandBacklog::Ticket::Ticket(std::shared_ptr<CommandBacklog> backlog, std::size_t bytes)
    : mBacklog(std::move(backlog)), mBytes(bytes) {}

CommandBacklog::Ticket::~Ticket() {
    if (mBacklog != nullptr) {
        mBacklog->Leave(mBytes);
    }
}

void CommandBacklog::Detach() {
    const std::lock_guard lock(mMutex);
    mSocket = nullptr;
}

CommandBacklog::Ticket CommandBacklog::Enter(std::size_t bytes) {
    const std::lock_guard lock(mMutex);
    ++mCommands;
    mBytes += bytes;
    *mTotal += bytes;
    if (!mIsPaused && mSocket != nullptr && (mCommands >= kMaxCommands || mBytes >= kMaxBytes)) {
        mIsPaused = true;
        mSocket->SetReadPaused(true);
    }
    return {shared_from_this(), bytes};
}

void CommandBacklog::Leave(std::size_t bytes) {
    const std::lock_guard lock(mMutex);
    --mCommands;
    mBytes -= bytes;
    *mTotal -= bytes;
    if (mIsPaused && mCommands <= kMaxCommands / 2 && mBytes <= kMaxBytes / 2) {
        mIsPaused = false;
        if (mSocket != nullptr) {
            mSocket->SetReadPaused(false);
        }
    }
}
