#pragma once

#include <cstdint>
#include <string>

class DeskCommand;
class TalvoKLVStream;

/// The command links to the routers: a place for a stream per link and stream type.
class iRouterKLVComms {
  public:
    enum class StreamType : std::uint8_t {
        Local = 0,     ///< a router on the I/O port
        Master = 1,    ///< a router on the box's Master port
        ToMaster = 2,  ///< one that the box dialled at a Master port
    };

    iRouterKLVComms() = default;
    iRouterKLVComms(const iRouterKLVComms&) = delete;
    iRouterKLVComms& operator=(const iRouterKLVComms&) = delete;
    virtual ~iRouterKLVComms() = default;

    /// Starts to connect to the updater on this very box. Any thread.
    virtual void ConnectUpdater() = 0;

    /// Whether a stream stands in that place. Any thread.
    virtual bool IsConnected(unsigned port, StreamType type) = 0;

    /// Starts to connect to the I/O port of `ip` (host order), again and again until it succeeds, and anew
    /// when the connection is lost. Any thread.
    virtual void Connect(std::uint32_t ip) = 0;

    /// Ends the stream in that place; where there is none, it is reported as gone once more. Any thread.
    virtual void Disconnect(unsigned port, StreamType type) = 0;

    /// Sends on the stream in that place; false, and a log line, where there is none. Any thread.
    virtual bool SendCmd(unsigned port, const DeskCommand& command, StreamType type) = 0;

    /// The stream in that place or null. It may go at any time but on the socket thread.
    virtual TalvoKLVStream* GetStream(unsigned port, StreamType type) = 0;

    /// Sends on the Master stream of link 0.
    virtual bool SendCmdToMaster(const DeskCommand& command) = 0;

    /// Sends on the Local stream of link `port`.
    virtual bool SendCmdToPort(const DeskCommand& command, unsigned port) = 0;

    // The streams' own calls, on the socket thread.

    virtual void AddStream(TalvoKLVStream& stream) = 0;
    virtual void RemoveStream(TalvoKLVStream& stream) = 0;

    /// The link in whose places the stream stands; -1 for none.
    virtual int FindPort(const TalvoKLVStream& stream) = 0;

    virtual StreamType GetStreamType(const TalvoKLVStream& stream) const = 0;

    /// The address of the link's interface, in host order; 0 where it has none. Any thread.
    virtual std::uint32_t GetPortIp(unsigned port) const = 0;
};
