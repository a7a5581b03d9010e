#include "BenchPort.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <boost/asio/io_service.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "BenchConnection.h"
#include "Board.h"
#include "EventLoopLink.h"

namespace sim {
namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;

constexpr std::chrono::milliseconds kAcceptRetry{100};

std::string TextOf(const BenchEndpoint& endpoint) {
    return endpoint.mAddress + ":" + std::to_string(endpoint.mPort);
}

[[noreturn]] void RefuseEndpoint(const BenchEndpoint& endpoint, int error) {
    throw std::system_error(error, std::generic_category(), "cannot listen on " + TextOf(endpoint));
}

/// A listening socket that child processes don't inherit, from the moment it exists.
int Listen(const BenchEndpoint& endpoint) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(endpoint.mPort);
    if (::inet_pton(AF_INET, endpoint.mAddress.c_str(), &address.sin_addr) != 1) {
        RefuseEndpoint(endpoint, EINVAL);
    }
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (listener < 0) {
        RefuseEndpoint(endpoint, errno);
    }
    const int on = 1;
    const bool isListening = ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
                             ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                             ::listen(listener, SOMAXCONN) == 0;
    if (!isListening) {
        const int error = errno;
        ::close(listener);
        RefuseEndpoint(endpoint, error);
    }
    return listener;
}

/// Best effort: a few bytes into a fresh socket's buffer.
void TurnAway(int client) {
    static constexpr std::string_view kText = "error too many clients; the connection ends\n";
    [[maybe_unused]] const ssize_t sent =
        ::send(client, kText.data(), kText.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    ::close(client);
}

}  // namespace

/// What needs Boost: the listening socket and its thread.
class BenchPort::Server {
  public:
    Server(const BenchEndpoint& endpoint, Board& board, EventLoopLink& loop)
        : mBoard(board),
          mLoop(loop),
          mAcceptor(mService, tcp::v4(), Listen(endpoint)),
          mRetryTimer(mService),
          mAddress(endpoint.mAddress + ":" + std::to_string(mAcceptor.local_endpoint().port())) {}

    ~Server() {
        mService.stop();
        if (mThread.joinable()) {
            mThread.join();
        }
    }

    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    void Start() {
        AwaitClient();
        mThread = std::thread([this] { mService.run(); });
    }

    const std::string& Address() const { return mAddress; }

  private:
    void AwaitClient() {
        mAcceptor.async_wait(tcp::acceptor::wait_read, [this](const error_code& error) {
            if (!error) {
                AcceptClient();
            }
        });
    }

    void AcceptClient() {
        const int client =
            ::accept4(mAcceptor.native_handle(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (client >= 0) {
            Serve(client);
        } else if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
            RetryLater();  // no descriptors or no memory left: some may come free
            return;
        }
        AwaitClient();
    }

    void RetryLater() {
        mRetryTimer.expires_after(kAcceptRetry);
        mRetryTimer.async_wait([this](const error_code& error) {
            if (!error) {
                AwaitClient();
            }
        });
    }

    void Serve(int client) {
        if (mClients == kMaxClients) {
            TurnAway(client);
            return;
        }
        tcp::socket socket(mService, tcp::v4(), client);
        error_code ignored;
        socket.set_option(tcp::no_delay(true), ignored);
        ++mClients;
        std::make_shared<BenchConnection>(mService, std::move(socket), mBoard, mLoop, [this] {
            --mClients;
        })->Start();
    }

    Board& mBoard;
    EventLoopLink& mLoop;
    unsigned mClients = 0;             // before the service, whose end counts the last ones down
    boost::asio::io_service mService;  // on one thread, so nothing here has a lock
    tcp::acceptor mAcceptor;
    boost::asio::steady_timer mRetryTimer;
    const std::string mAddress;
    std::thread mThread;
};

BenchPort::BenchPort(const BenchEndpoint& endpoint, Board& board, EventLoopLink& loop)
    : mServer(std::make_unique<Server>(endpoint, board, loop)) {}

BenchPort::~BenchPort() = default;

void BenchPort::Start() {
    mServer->Start();
}

std::string BenchPort::Address() const {
    return mServer->Address();
}

}  // namespace sim
