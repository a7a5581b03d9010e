#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace sim {

class Board;
class EventLoopLink;

/// Where the bench port listens.
struct BenchEndpoint {
    std::string mAddress = "127.0.0.1";  ///< IPv4, dotted
    std::uint16_t mPort = 55560;         ///< 0 takes a free one
};

/// The port on which people and scripts work the virtual board: lines of text over TCP, a thread of its own.
/// Owned by the bench executable; board and link outlive it.
class BenchPort {
  public:
    static constexpr unsigned kMaxClients = 256;  ///< one more is told so and closed

    /// Listens from here on. Throws std::system_error, with the endpoint in its text, where it can't.
    BenchPort(const BenchEndpoint& endpoint, Board& board, EventLoopLink& loop);

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
