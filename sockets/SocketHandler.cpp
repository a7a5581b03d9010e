#include "SocketHandler.h"

#include <sys/eventfd.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <system_error>
#include <utility>

#include "StdLog.h"

namespace {

using std::chrono::microseconds;

constexpr long kMicroseconds = 1'000'000;

bool Fits(int descriptor) {
    return descriptor < FD_SETSIZE;
}

}  // namespace

/// What a pass waits for.
struct SocketHandler::Sets {
    fd_set mRead;
    fd_set mWrite;
    fd_set mException;
    int mHighest = -1;

    Sets() {
        FD_ZERO(&mRead);
        FD_ZERO(&mWrite);
        FD_ZERO(&mException);
    }

    void Want(int descriptor, fd_set& set) {
        FD_SET(descriptor, &set);
        mHighest = std::max(mHighest, descriptor);
    }
};

/// What is looked at in every pass, whatever has come.
struct SocketHandler::CheckList {
    const char* mName;
    bool (*mIsOn)(Socket& socket, Clock::time_point now);
    void (*mAct)(SocketHandler& handler, Socket& socket, Clock::time_point now);
};

const SocketHandler::CheckList SocketHandler::kCheckLists[] = {
    {"checklist CallOnConnect", [](Socket& socket, Clock::time_point) { return socket.TakeCallOnConnect(); },
     [](SocketHandler&, Socket& socket, Clock::time_point) {
         socket.CallOnConnect();
     }},
    {"checklist Timeout",
     [](Socket& socket, Clock::time_point now) {
         return now >= socket.NextDeadline() && !socket.RetryClientConnect();
     },
     [](SocketHandler&, Socket& socket, Clock::time_point now) {
         socket.OnDeadline(now);
     }},
    {"checklist retry client connect",
     [](Socket& socket, Clock::time_point now) {
         return socket.RetryClientConnect() && now >= socket.NextDeadline();
     },
     [](SocketHandler&, Socket& socket, Clock::time_point now) {
         socket.OnDeadline(now);
     }},
    {"checklist close and delete", [](Socket& socket, Clock::time_point) { return socket.CloseAndDelete(); },
     [](SocketHandler& handler, Socket& socket, Clock::time_point now) {
         handler.CloseIfDone(socket, now);
     }},
};

SocketHandler::SocketHandler(StdLog& log)
    : mLog(log), mWakeDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (mWakeDescriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    if (!Fits(mWakeDescriptor)) {
        ::close(mWakeDescriptor);
        throw std::system_error(EMFILE, std::generic_category(), "eventfd: FD_SETSIZE reached");
    }
}

SocketHandler::~SocketHandler() {
    CloseAll();
    ::close(mWakeDescriptor);
}

void SocketHandler::CloseAll() {
    while (GetCount() > 0) {
        TakeAdded();
        if (!mSockets.empty()) {
            Remove(*mSockets.front());
        }
    }
}

void SocketHandler::Add(Socket* socket) {
    if (socket == nullptr) {
        mLog.Report(nullptr, "Invalid socket", 0, "", StdLog::Level::Warning);
        return;
    }
    {
        const std::lock_guard lock(mMutex);
        if (std::find(mAddQueue.begin(), mAddQueue.end(), socket) != mAddQueue.end()) {
            mLog.Report(socket, "Attempt to add socket already in add queue", 0, "", StdLog::Level::Warning);
            return;
        }
        mAddQueue.push_back(socket);
    }
    Wake();
}

void SocketHandler::Wake() {
    if (!mIsWoken.exchange(true)) {
        constexpr std::uint64_t kOne = 1;
        [[maybe_unused]] const ssize_t written = ::write(mWakeDescriptor, &kOne, sizeof kOne);
    }
}

bool SocketHandler::IsServed(const Socket* socket) const {
    return std::find(mSockets.begin(), mSockets.end(), socket) != mSockets.end();
}

bool SocketHandler::Holds(const Socket* socket) const {
    const std::lock_guard lock(mMutex);
    return IsServed(socket) || std::find(mAddQueue.begin(), mAddQueue.end(), socket) != mAddQueue.end();
}

bool SocketHandler::Forget(const Socket* socket) {
    const std::lock_guard lock(mMutex);
    const std::size_t before = mSockets.size() + mAddQueue.size();
    mSockets.remove(const_cast<Socket*>(socket));
    mAddQueue.erase(std::remove(mAddQueue.begin(), mAddQueue.end(), socket), mAddQueue.end());
    return mSockets.size() + mAddQueue.size() != before;
}

std::size_t SocketHandler::GetCount() const {
    const std::lock_guard lock(mMutex);
    return mSockets.size() + mAddQueue.size();
}

int SocketHandler::Select(long seconds, long microseconds) {
    TakeAdded();
    Sets sets;
    const int found = Wait(sets, std::chrono::seconds(seconds) + std::chrono::microseconds(microseconds));
    const int served = found < 0 ? found : Dispatch(sets);
    TakeAdded();
    WalkCheckLists();
    return served;
}

void SocketHandler::TakeAdded() {
    std::vector<Socket*> refused;
    {
        const std::lock_guard lock(mMutex);
        for (Socket* socket : mAddQueue) {
            const bool isNew = !IsServed(socket);
            if (!Admit(*socket) && isNew) {
                refused.push_back(socket);
            }
            // A refused one stands in the list until it is removed: its owner looks there before deleting it.
            if (isNew) {
                mSockets.push_back(socket);
            }
        }
        mAddQueue.clear();
    }
    for (Socket* socket : refused) {
        Remove(*socket);
    }
}

bool SocketHandler::Admit(Socket& socket) {
    const char* refusal = nullptr;
    if (socket.CloseAndDelete()) {
        refusal = "Trying to add socket with SetCloseAndDelete() true";
    } else if (IsServed(&socket)) {
        refusal = "Attempt to add socket already in controlled queue";
    } else if (!Fits(socket.GetSocket())) {
        refusal = "FD_SETSIZE reached";
    }
    if (refusal != nullptr) {
        mLog.Report(&socket, refusal, 0, "", StdLog::Level::Warning);
    }
    return refusal == nullptr;
}

void SocketHandler::Fill(Sets& sets) const {
    sets.Want(mWakeDescriptor, sets.mRead);
    for (const Socket* socket : mSockets) {
        const int descriptor = socket->GetSocket();
        if (descriptor < 0 || !Fits(descriptor)) {
            continue;
        }
        if (socket->WantsRead()) {
            sets.Want(descriptor, sets.mRead);
        }
        if (socket->WantsWrite()) {
            sets.Want(descriptor, sets.mWrite);
        }
        // One that only sends the rest of its output has met its end: an exception would stay, pass after
        // pass.
        if (!socket->CloseAndDelete()) {
            sets.Want(descriptor, sets.mException);
        }
    }
}

/// Gives the number of descriptors that have something; the sets hold no others afterwards.
int SocketHandler::Wait(Sets& sets, Clock::duration limit) {
    const auto end = Clock::now() + CutToDeadlines(limit);
    for (;;) {
        sets = Sets();
        Fill(sets);
        const auto left =
            std::max(std::chrono::duration_cast<microseconds>(end - Clock::now()), microseconds(0));
        timeval timeout{static_cast<time_t>(left.count() / kMicroseconds),
                        static_cast<suseconds_t>(left.count() % kMicroseconds)};
        const int found = ::select(sets.mHighest + 1, &sets.mRead, &sets.mWrite, &sets.mException, &timeout);
        if (found >= 0) {
            return found;
        }
        if (errno != EINTR) {
            mLog.Report(nullptr, "select", errno, std::strerror(errno), StdLog::Level::Error);
            return -1;
        }
    }
}

SocketHandler::Clock::duration SocketHandler::CutToDeadlines(Clock::duration limit) const {
    const auto now = Clock::now();
    for (const Socket* socket : mSockets) {
        const auto deadline = socket->NextDeadline();
        if (deadline - now < limit) {
            limit = std::max(deadline - now, Clock::duration::zero());
        }
    }
    return limit;
}

int SocketHandler::Dispatch(const Sets& sets) {
    if (FD_ISSET(mWakeDescriptor, &sets.mRead)) {
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t bytes = ::read(mWakeDescriptor, &count, sizeof count);
        mIsWoken.exchange(false);
    }
    int served = 0;
    // A copy, for what a socket does may destroy another, or itself.
    const std::vector<Socket*> sockets(mSockets.begin(), mSockets.end());
    for (Socket* socket : sockets) {
        if (!IsServed(socket)) {
            continue;
        }
        const int descriptor = socket->GetSocket();
        const bool isOpen = descriptor >= 0 && Fits(descriptor);
        const bool hasInput = isOpen && FD_ISSET(descriptor, &sets.mRead);
        const bool hasRoom = isOpen && FD_ISSET(descriptor, &sets.mWrite);
        const bool hasException = isOpen && FD_ISSET(descriptor, &sets.mException);
        const bool readsAgain = socket->TakeReadAgain() && !socket->IsReadPaused();
        if (hasException) {
            socket->OnException();
        }
        if (hasRoom && IsServed(socket)) {
            socket->OnWrite();
        }
        if ((hasInput || readsAgain) && IsServed(socket)) {
            socket->OnRead();
        }
        served += hasInput || hasRoom || hasException ? 1 : 0;
    }
    return served;
}

void SocketHandler::WalkCheckLists() {
    const auto now = Clock::now();
    for (const CheckList& list : kCheckLists) {
        std::vector<std::pair<Socket*, int>> listed;
        for (Socket* socket : mSockets) {
            if (list.mIsOn(*socket, now)) {
                listed.emplace_back(socket, socket->GetSocket());
            }
        }
        for (const auto& [socket, descriptor] : listed) {
            if (IsServed(socket)) {
                list.mAct(*this, *socket, now);
            } else {
                const std::string name(list.mName);
                const std::string text =
                    "CheckList failed for \"" + name + "\": fd " + std::to_string(descriptor) + "\n";
                mLog.Report(nullptr, text, 0, "", StdLog::Level::Error);
            }
        }
    }
}

void SocketHandler::CloseIfDone(Socket& socket, Clock::time_point now) {
    if (!socket.HasToFlush(now)) {
        Remove(socket);
    }
}

void SocketHandler::Remove(Socket& socket) {
    socket.Close();
    socket.OnDelete();
    // An owner may delete its socket as soon as the list holds it no longer.
    const bool isOurs = socket.DeleteByHandler();
    {
        const std::lock_guard lock(mMutex);
        mSockets.remove(&socket);
    }
    if (isOurs) {
        delete &socket;
    }
}
