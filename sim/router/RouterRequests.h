#pragma once

#include <string>
#include <vector>

namespace sim {

class RouterLink;

/// The requests of a virtual router: takes a line, does what it asks and says what to reply. A bad request
/// changes nothing. The link's thread.
class RouterRequests {
  public:
    explicit RouterRequests(RouterLink& link) : mLink(link) {}

    /// Handles one line, given without its end; the reply is without one too.
    std::string Handle(const std::string& line);

  private:
    using Arguments = std::vector<std::string>;
    struct Request;
    static const Request kRequests[];

    std::string Dispatch(const std::string& line);

    RouterLink& mLink;
};

}  // namespace sim
