#pragma once

#include <atomic>
#include <cstddef>
#include <list>
#include <mutex>
#include <vector>

#include "ISocketHandler.h"
#include "Socket.h"

/// Serves its sockets by `select`, on the one thread that calls `Select`. Sockets are added by any thread; at
/// the end of the handler those that it is to delete are closed, told so (OnDelete) and deleted.
class SocketHandler : public ISocketHandler {
  public:
    /// `log` outlives the handler. Throws std::system_error where there is no descriptor to wake it by.
    explicit SocketHandler(StdLog& log);
    ~SocketHandler() override;

    void Add(Socket* socket) override;

    /// Returns how many sockets had something to read or write, -1 after an error of the system. It returns
    /// early when woken; a signal ends no wait before its time.
    int Select(long seconds, long microseconds) override;
    void Wake() override;
    bool Holds(const Socket* socket) const override;
    bool Forget(const Socket* socket) override;
    StdLog& Log() override { return mLog; }

    /// How many sockets it serves or is to serve. Any thread.
    std::size_t GetCount() const;

  protected:
    /// Ends all sockets. For the destructor of a class whose sockets use it when they end.
    void CloseAll();

  private:
    using Clock = Socket::Clock;
    struct Sets;
    struct CheckList;
    static const CheckList kCheckLists[];

    void TakeAdded();
    bool Admit(Socket& socket);
    void Fill(Sets& sets) const;
    int Wait(Sets& sets, Clock::duration limit);
    Clock::duration CutToDeadlines(Clock::duration limit) const;
    int Dispatch(const Sets& sets);
    void WalkCheckLists();
    void CloseIfDone(Socket& socket, Clock::time_point now);
    void Remove(Socket& socket);
    bool IsServed(const Socket* socket) const;

    StdLog& mLog;
    int mWakeDescriptor;
    std::atomic<bool> mIsWoken{false};
    mutable std::mutex mMutex;  ///< the add queue, and changes of the list
    std::vector<Socket*> mAddQueue;
    std::list<Socket*> mSockets;  ///< changed by the loop's thread alone, and by a destructor
};
