#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "LineServer.h"

namespace sim {

class Board;
class EventLoopLink;

/// The port on which people and scripts work the virtual board: lines of text over TCP, a thread of its own.
/// Owned by the bench executable; board and link outlive it.
class BenchPort {
  public:
    /// Listens from here on. Throws std::system_error, with the endpoint in its text, where it can't.
    BenchPort(const LineEndpoint& endpoint, Board& board, EventLoopLink& loop);

    /// Ends all connections and joins the thread.
    ~BenchPort();
    BenchPort(const BenchPort&) = delete;
    BenchPort& operator=(const BenchPort&) = delete;

    /// Starts to serve; once.
    void Start();

    /// "ADDRESS:PORT", with the port that was taken.
    std::string Address() const;

  private:
    class Server;
    std::unique_ptr<Server> mServer;
};

}  // namespace sim
