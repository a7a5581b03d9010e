#pragma once

#include <cstdint>
#include <string>

/// A bare TCP client with ten seconds' patience, for bytes that no honest peer sends. One thread.
class RawTcpClient {
  public:
    /// Connects to 127.0.0.1, from `localAddress` where one is given, and from `localPort` where it isn't 0.
    /// Throws where that fails.
    explicit RawTcpClient(std::uint16_t port, const char* localAddress = nullptr,
                          std::uint16_t localPort = 0);
    ~RawTcpClient();
    RawTcpClient(const RawTcpClient&) = delete;
    RawTcpClient& operator=(const RawTcpClient&) = delete;

    /// Throws where not all goes.
    void Send(const std::string& bytes);

    /// Exactly so many bytes; fewer where the peer closes or the patience ends first.
    std::string Receive(std::size_t size);

    /// What there is without waiting.
    std::string ReceiveAvailable();

    /// Whether the peer has closed, or closes within the patience; what it still says is thrown away.
    bool AwaitEnd();

    /// Ends sending alone.
    void EndSending();

    void Close();

    /// Closes at once; the peer finds the connection reset.
    void Reset();

  protected:
    /// What comes next, appended to `input`; false where the peer has closed. Throws where the patience ends.
    bool ReceiveSome(std::string& input);

  private:
    int mDescriptor;
};
