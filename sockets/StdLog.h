#pragma once

#include <string>

class Socket;

/// Takes the reports of the socket layer. Any thread.
class StdLog {
  public:
    enum class Level { Info, Warning, Error, Fatal };

    StdLog() = default;
    StdLog(const StdLog&) = delete;
    StdLog& operator=(const StdLog&) = delete;
    virtual ~StdLog() = default;

    /// `call` says what was done, `code` and `text` what came of it (an errno and its words, or 0 and a
    /// remark). `socket` may be null.
    virtual void Report(const Socket* socket, const std::string& call, int code, const std::string& text,
                        Level level) = 0;
};
