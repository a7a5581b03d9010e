#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>

class Socket;

/// What one stream has waiting for the event loop, and the bound of it: past that the stream stops reading,
/// until half of it has been worked off. So a flood of commands waits in the router's buffers, not in the
/// box's memory.
///
/// Owned by the stream and by its commands on their way, any thread.
class CommandBacklog : public std::enable_shared_from_this<CommandBacklog> {
  public:
    static constexpr std::size_t kMaxCommands = 10000;
    static constexpr std::size_t kMaxBytes = 0x1000000;  ///< as the messages were on the wire

    /// The place of one command in a backlog, given back when it goes.
    class Ticket {
      public:
        Ticket() = default;
        Ticket(std::shared_ptr<CommandBacklog> backlog, std::size_t bytes);
        Ticket(Ticket&& other) noexcept = default;
        Ticket& operator=(Ticket&& other) = delete;
        ~Ticket();

      private:
        std::shared_ptr<CommandBacklog> mBacklog;
        std::size_t mBytes = 0;
    };

    /// `socket` is the one whose reading pauses, until Detach. `total` counts the bytes of all backlogs.
    CommandBacklog(Socket& socket, std::shared_ptr<std::atomic<std::size_t>> total)
        : mSocket(&socket), mTotal(std::move(total)) {}

    /// The stream goes; its commands may stay a while.
    void Detach();

    Ticket Enter(std::size_t bytes);

  private:
    void Leave(std::size_t bytes);

    std::mutex mMutex;
    Socket* mSocket;
    std::shared_ptr<std::atomic<std::size_t>> mTotal;
    std::size_t mCommands = 0;
    std::size_t mBytes = 0;
    bool mIsPaused = false;
};
