#pragma once

#include <string>

#include "RawTcpClient.h"

/// A client of a port that speaks lines of text. One thread.
class LineClient : public RawTcpClient {
  public:
    using RawTcpClient::RawTcpClient;

    /// All that comes up to `text` and with it. Throws where the peer closes or the patience ends before.
    std::string ReadUntil(const std::string& text);

    /// One line, without its end.
    std::string ReadLine();

    std::string Ask(const std::string& line);

    /// All that comes until the peer closes.
    std::string ReadToEnd();

  private:
    std::string mInput;
};
