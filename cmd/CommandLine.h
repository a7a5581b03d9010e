#pragma once

#include <atomic>
#include <boost/asio/io_service.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace cmd {

class ClientConnection;
class Node;
class RemoteCommandServer;

/// The engineers' shell: listens for clients, finds the action that a typed line names, calls it and replies.
/// It also runs the event loop. Owned by the start-up code, which adds the commands before `Run`; destroyed
/// before the event loop and after the log. All but `Stop` belongs to the event loop's thread.
class CommandLine {
  public:
    /// Called with each line as it was received, before it is acted on.
    using ReceivedHook = std::function<void(const std::string& line)>;
    /// Called with each command word and its reply, before the reply is sent.
    using SentHook = std::function<void(const std::string& command, const std::string& reply)>;

    /// Listens on `endpoint`; nothing is accepted before the event loop runs. `programName` is for the
    /// banner. Throws boost::system::system_error when it can't listen.
    CommandLine(boost::asio::io_service& io, const boost::asio::ip::tcp::endpoint& endpoint,
                std::string programName);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /// Runs the event loop on this thread until `Stop`; nothing where it runs already. Throws
    /// boost::system::system_error when the event loop fails.
    void Run();

    /// Ends `Run`. Any thread.
    void Stop();

    void SetOnReceived(ReceivedHook hook) { mOnReceived = std::move(hook); }
    void SetOnSent(SentHook hook) { mOnSent = std::move(hook); }

    /// The root of the command tree.
    const std::shared_ptr<Node>& Root() const { return mRoot; }

    /// Where clients connect; the port is a real one also when 0 was asked for.
    boost::asio::ip::tcp::endpoint Endpoint() const;

    boost::asio::io_service& Io() { return mIo; }
    RemoteCommandServer& Server() { return *mServer; }

  private:
    void OnLineReceived(const std::shared_ptr<ClientConnection>& connection, const std::string& line);
    std::string Process(const std::string& line, const std::shared_ptr<ClientConnection>& connection);
    std::string Listing() const;

    boost::asio::io_service& mIo;
    const std::shared_ptr<RemoteCommandServer> mServer;
    const std::shared_ptr<Node> mRoot;
    std::atomic<bool> mRunning{false};
    ReceivedHook mOnReceived;
    SentHook mOnSent;
};

}  // namespace cmd
