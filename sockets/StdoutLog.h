#pragma once

#include "StdLog.h"

/// Prints each report as a line on standard output.
class StdoutLog : public StdLog {
  public:
    void Report(const Socket* socket, const std::string& call, int code, const std::string& text,
                Level level) override;
};
