#include "RemoteAuditor.h"

#include <utility>

#include "ActionN.h"
#include "CommandLine.h"
#include "LogTail.h"
#include "Node.h"

namespace cmd {

RemoteAuditor::RemoteAuditor(CommandLine& commandLine, std::string root, std::string path)
    : TalvoAudit(std::move(root), std::move(path)), mTail(std::make_shared<LogTail>(commandLine)) {
    mTail->Start(commandLine);
    const auto tail = [weak = std::weak_ptr<LogTail>(mTail)](const std::shared_ptr<ClientConnection>& client,
                                                             bool wanted) -> std::string {
        const auto logTail = weak.lock();
        return logTail != nullptr && logTail->Tail(client, wanted) ? "true" : "false";
    };
    commandLine.Root()->AddAction(action::MakeAction("tail", tail, "Enable (or disable) log file tailing"));
}

RemoteAuditor::~RemoteAuditor() {
    // Whoever watches a stop wants its last lines, and the event loop, which would hand them out, runs no
    // more.
    mTail->HandOut();
}

void RemoteAuditor::SetTailOnConnect(bool tailOnConnect) {
    mTail->SetTailOnConnect(tailOnConnect);
}

void RemoteAuditor::OnOutput(const std::string& line) {
    mTail->Append(line);
}

}  // namespace cmd
