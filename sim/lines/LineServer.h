#pragma once

#include <boost/asio/io_service.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdint>
#include <memory>
#include <string>

#include "LineConnection.h"

namespace sim {

/// Where a port listens.
struct LineEndpoint {
    std::string mAddress = "127.0.0.1";  ///< IPv4, dotted
    std::uint16_t mPort = 0;             ///< 0 takes a free one
};

/// Reads "[ip][:port]" into `endpoint`, whose own values stand where a piece is left out. Throws BadText.
void ParseEndpoint(const std::string& text, LineEndpoint& endpoint);

/// A port that speaks lines of text, for people and scripts: each request line gets one reply line. On the
/// thread of its service, which goes before it.
class LineServer {
  public:
    static constexpr unsigned kMaxClients = 256;  ///< one more is told so and closed

    /// Listens from here on. Throws std::system_error, with the endpoint in its text, where it can't.
    LineServer(boost::asio::io_service& service, const LineEndpoint& endpoint, LineHandler handler,
               std::size_t maxLine = LineConnection::kMaxLine);
    LineServer(const LineServer&) = delete;
    LineServer& operator=(const LineServer&) = delete;

    /// Starts to serve; once.
    void Start() { AwaitClient(); }

    /// "ADDRESS:PORT", with the port that was taken.
    const std::string& Address() const { return mAddress; }

  private:
    void AwaitClient();
    void AcceptClient();
    void RetryLater();
    void Serve(int client);

    boost::asio::io_service& mService;
    const LineHandler mHandler;
    const std::size_t mMaxLine;
    const std::shared_ptr<unsigned> mClients = std::make_shared<unsigned>(0);  ///< connections may outlive it
    boost::asio::ip::tcp::acceptor mAcceptor;
    boost::asio::steady_timer mRetryTimer;
    const std::string mAddress;
};

}  // namespace sim
