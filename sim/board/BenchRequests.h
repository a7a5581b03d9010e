#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace sim {

class Board;

/// The answer to a request: its reply line, without the line's end, or how long to wait for the application
/// before the reply is known.
struct BenchAnswer {
    std::string mReply;
    std::optional<std::chrono::milliseconds> mWait;
};

/// The requests of the bench port: takes a line, does what it asks of the board and says what to reply. A bad
/// request changes nothing. Holds nothing between requests; any thread.
class BenchRequests {
  public:
    /// `board` outlives this.
    explicit BenchRequests(Board& board) : mBoard(board) {}

    /// Handles one line, given without its end.
    BenchAnswer Handle(const std::string& line);

  private:
    using Arguments = std::vector<std::string>;
    struct Request;
    static const Request kRequests[];

    static const Request& FindRequest(const std::string& name);
    BenchAnswer Dispatch(const std::string& line);

    BenchAnswer Help(const Arguments& arguments);
    BenchAnswer Read(const Arguments& arguments);
    BenchAnswer Word(const Arguments& arguments);
    BenchAnswer Set(const Arguments& arguments);
    BenchAnswer Irq(const Arguments& arguments);
    BenchAnswer Dip(const Arguments& arguments);
    BenchAnswer Psu(const Arguments& arguments);
    BenchAnswer Measure(const Arguments& arguments);
    BenchAnswer Pll(const Arguments& arguments);
    BenchAnswer Sync(const Arguments& arguments);
    BenchAnswer Link(const Arguments& arguments);
    BenchAnswer Netlink(const Arguments& arguments);
    BenchAnswer Wait(const Arguments& arguments);
    BenchAnswer Table(const Arguments& arguments);
    BenchAnswer Hear(const Arguments& arguments);
    BenchAnswer Trace(const Arguments& arguments);
    BenchAnswer State(const Arguments& arguments);

    const std::string& Node(const std::string& identity) const;

    Board& mBoard;
};

}  // namespace sim
