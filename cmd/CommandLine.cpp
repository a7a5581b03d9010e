#include "CommandLine.h"

#include <boost/algorithm/string/trim.hpp>
#include <boost/system/system_error.hpp>
#include <exception>
#include <sstream>
#include <string_view>
#include <utility>

#include "Action.h"
#include "ActionN.h"
#include "ClientConnection.h"
#include "RemoteCommandServer.h"
#include "RootNode.h"
#include "Tokeniser.h"

namespace cmd {

namespace {

/// A typed line, taken apart.
struct TypedCommand {
    std::string mWord;
    std::string mArguments;
    bool mHelpWanted = false;
};

TypedCommand TakeApart(std::string line) {
    constexpr std::string_view kHelpOption = " --help";
    TypedCommand command;
    const std::size_t help = line.find(kHelpOption);
    command.mHelpWanted = help != std::string::npos;
    if (command.mHelpWanted) {
        line.erase(help, kHelpOption.size());
    }
    const std::size_t blank = line.find(' ');
    command.mWord = line.substr(0, blank);
    command.mArguments = blank == std::string::npos ? "" : line.substr(blank + 1);
    return command;
}

/// The command's own failures are the user's to read; the event loop goes on.
std::string Invoke(action::Action& action, const std::string& arguments,
                   const std::shared_ptr<ClientConnection>& connection) {
    try {
        return action.Invoke(Tokenise(arguments), connection);
    } catch (const std::exception& failure) {
        return failure.what();
    } catch (...) {
        return "error: '" + action.Name() + "' failed";
    }
}

}  // namespace

CommandLine::CommandLine(boost::asio::io_service& io, const boost::asio::ip::tcp::endpoint& endpoint,
                         std::string programName)
    : mIo(io),
      mServer(std::make_shared<RemoteCommandServer>(io, endpoint, std::move(programName))),
      mRoot(std::make_shared<NodeManager::RootNode>()) {
    mRoot->AddAction(action::MakeAction(
        "help", [this] { return Listing(); }, "List available actions"));
    mRoot->AddAction(action::MakeAction(
        "quit", [this] { Stop(); }, "Terminate the application"));
    mServer->LineReceived().connect([this](const std::shared_ptr<ClientConnection>& connection,
                                           const std::string& line) { OnLineReceived(connection, line); });
    mServer->StartAccept();
}

CommandLine::~CommandLine() = default;

void CommandLine::Run() {
    if (mRunning.exchange(true)) {
        return;
    }
    boost::system::error_code error;
    mIo.run(error);
    mRunning = false;
    if (error) {
        throw boost::system::system_error(error);
    }
}

void CommandLine::Stop() {
    mRunning = false;
    mIo.stop();
}

boost::asio::ip::tcp::endpoint CommandLine::Endpoint() const {
    return mServer->Endpoint();
}

void CommandLine::OnLineReceived(const std::shared_ptr<ClientConnection>& connection,
                                 const std::string& line) {
    const std::string reply = Process(line, connection);
    if (!reply.empty() && connection->EchoReplies()) {
        connection->Send(reply);
    }
}

/// The reply to a typed line, with a line end; empty when there is nothing to say.
std::string CommandLine::Process(const std::string& line,
                                 const std::shared_ptr<ClientConnection>& connection) {
    std::string trimmed = boost::algorithm::trim_copy(line);
    if (trimmed.empty()) {
        return {};
    }
    const TypedCommand command = TakeApart(std::move(trimmed));
    if (mOnReceived) {
        mOnReceived(line);
    }
    std::string reply;
    if (const auto action = mRoot->Find(mRoot->Name() + "/" + command.mWord)) {
        reply = command.mHelpWanted ? action->Help() : Invoke(*action, command.mArguments, connection);
    } else {
        reply = "unrecognised command '" + command.mWord + "'";
    }
    if (!reply.empty()) {
        reply += '\n';
    }
    if (mOnSent) {
        mOnSent(command.mWord, reply);
    }
    return reply;
}

std::string CommandLine::Listing() const {
    std::ostringstream listing;
    listing << mRoot;
    return listing.str();
}

}  // namespace cmd
