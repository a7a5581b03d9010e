#pragma once

#include <boost/asio/io_service.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/signals2/signal.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <memory>
#include <string>

namespace cmd {

class ClientConnection;

/// The listening end of the remote shell: accepts as many clients as leave the routers' side its descriptors,
/// greets them and reports what they type. Owned by CommandLine; lives on the event loop, where its signals
/// fire. Clients may outlive it, unheard.
class RemoteCommandServer : public std::enable_shared_from_this<RemoteCommandServer> {
  public:
    using ConnectionPtr = std::shared_ptr<ClientConnection>;
    using LineSignal = boost::signals2::signal<void(const ConnectionPtr&, const std::string&)>;
    using ConnectedSignal = boost::signals2::signal<void(const ConnectionPtr&)>;
    using DisconnectedSignal =
        boost::signals2::signal<void(const ConnectionPtr&, const boost::system::error_code&)>;

    /// Listens on `endpoint`; `name` is the program's, for the banner. Throws boost::system::system_error,
    /// with the step that failed in its text.
    RemoteCommandServer(boost::asio::io_service& io, const boost::asio::ip::tcp::endpoint& endpoint,
                        std::string name);

    /// Accepts the next client, and then one after the other, as long as the event loop runs.
    void StartAccept();

    /// Where it listens; the port is a real one also when 0 was asked for.
    boost::asio::ip::tcp::endpoint Endpoint() const { return mAcceptor.local_endpoint(); }

    LineSignal& LineReceived() { return mLineReceived; }          ///< a client typed a line
    ConnectedSignal& Connected() { return mConnected; }           ///< before the banner is sent
    DisconnectedSignal& Disconnected() { return mDisconnected; }  ///< once for each connected client

  private:
    void OnAccepted(const boost::system::error_code& error);
    void Welcome();
    void TurnAway();
    void StartAcceptLater();
    void PostEvent(const ConnectionPtr& connection, const boost::system::error_code& error, std::string line);
    void OnEnd(const ConnectionPtr& connection, const boost::system::error_code& error);
    std::string Banner() const;

    boost::asio::io_service& mIo;
    boost::asio::ip::tcp::acceptor mAcceptor;
    boost::asio::ip::tcp::socket mNextSocket;
    boost::asio::steady_timer mAcceptTimer;
    const std::string mName;
    const char mDelimiter = '\n';
    const std::shared_ptr<std::size_t> mUnsentToAll = std::make_shared<std::size_t>(0);
    LineSignal mLineReceived;
    ConnectedSignal mConnected;
    DisconnectedSignal mDisconnected;
};

}  // namespace cmd
