#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

/// A client of a port that speaks lines of text, with ten seconds' patience. One thread.
class LineClient {
  public:
    explicit LineClient(std::uint16_t port);
    ~LineClient();
    LineClient(const LineClient&) = delete;
    LineClient& operator=(const LineClient&) = delete;

    void Send(const std::string& bytes);

    /// All that comes up to `text` and with it. Throws where the peer closes or the patience ends before.
    std::string ReadUntil(const std::string& text);

    /// One line, without its end.
    std::string ReadLine();

    std::string Ask(const std::string& line);

    /// All that comes until the peer closes.
    std::string ReadToEnd();

    /// Ends sending alone; what the peer still says can be read.
    void EndSending();

    void Close();

    /// Closes so that the peer finds the connection reset.
    void Reset();

  private:
    struct Closed;
    struct Connection;

    void Receive(std::chrono::steady_clock::time_point deadline);

    std::unique_ptr<Connection> mConnection;
    std::string mInput;
};
