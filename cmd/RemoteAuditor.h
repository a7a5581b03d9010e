#pragma once

#include <memory>
#include <string>

#include "TalvoAudit.h"

namespace cmd {

class CommandLine;
class LogTail;

/// The log of a process with a remote shell: the file, standard output, and the shell's clients that tail it.
/// Adds the command `tail`. Owned by Audit as the instance in use, and destroyed before the command line,
/// while the event loop doesn't run.
class RemoteAuditor : public TalvoAudit {
  public:
    /// `root` and `path` are TalvoAudit's.
    RemoteAuditor(CommandLine& commandLine, std::string root, std::string path);
    ~RemoteAuditor() override;

    /// Whether new clients tail from the start; off until set. Before the event loop runs.
    void SetTailOnConnect(bool tailOnConnect);

  protected:
    void OnOutput(const std::string& line) override;

  private:
    const std::shared_ptr<LogTail> mTail;
};

}  // namespace cmd
