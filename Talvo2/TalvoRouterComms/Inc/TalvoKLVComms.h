#pragma once

#include <array>
#include <atomic>
#include <boost/signals2/signal.hpp>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "RouterPorts.h"
#include "StdoutLog.h"
#include "TalvoKLVSocketHandler.h"
#include "iRouterKLVComms.h"

namespace boost::asio {
class io_context;
}

/// The command links over TCP: listens for routers, keeps the table of their streams, and sends on them. The
/// streams belong to the socket handler, whose loop runs on a thread of this object's own.
class TalvoKLVComms : public iRouterKLVComms {
  public:
    /// Link, kind of stream, and whether it has come or gone. Fires on the event loop.
    using StreamChangedSignal = boost::signals2::signal<void(unsigned char, StreamType, bool)>;
    using UpdaterSignal = boost::signals2::signal<void()>;

    /// Listens and starts the socket thread. Event loop and processor outlive it. Throws TalvoSocketException
    /// where a port can't be bound.
    TalvoKLVComms(boost::asio::io_context& service, TalvoCommandProcessor& processor, unsigned portCount,
                  const RouterPorts& ports = {});

    /// Joins the thread and ends all streams.
    ~TalvoKLVComms() override;

    StreamChangedSignal& StreamChanged() { return *mStreamChanged; }
    UpdaterSignal& UpdaterConnected() { return *mUpdaterConnected; }

    /// The ports that it listens on.
    std::uint16_t IoPort() const { return mPorts.mIo; }
    std::uint16_t MasterPort() const { return mPorts.mMaster; }

    void ConnectUpdater() override;
    bool IsConnected(unsigned port, StreamType type) override;
    void Connect(std::uint32_t ip) override;
    void Disconnect(unsigned port, StreamType type) override;
    bool SendCmd(unsigned port, const DeskCommand& command, StreamType type) override;
    TalvoKLVStream* GetStream(unsigned port, StreamType type) override;
    bool SendCmdToMaster(const DeskCommand& command) override;
    bool SendCmdToPort(const DeskCommand& command, unsigned port) override;
    void AddStream(TalvoKLVStream& stream) override;
    void RemoveStream(TalvoKLVStream& stream) override;
    int FindPort(const TalvoKLVStream& stream) override;
    StreamType GetStreamType(const TalvoKLVStream& stream) const override;
    std::uint32_t GetPortIp(unsigned port) const override;

    /// Streams of simulated boxes, and as many that fit no link, kept at a time; one more ends the oldest.
    static constexpr std::size_t kMaxOutside = 8;

  private:
    static constexpr std::size_t kStreamTypes = 3;
    using LinkStreams = std::array<TalvoKLVStream*, kStreamTypes>;

    std::uint16_t Listen(std::uint16_t port, const char* purpose);
    void RunSelect();
    void StartConnecting(std::uint32_t ip, std::uint16_t port, bool dropAtClose);
    bool IsPort(unsigned port) const;
    void PutInPlace(TalvoKLVStream& stream, unsigned port, StreamType type);
    bool ClearPlace(const TalvoKLVStream& stream, const std::string& peer);
    bool IsUpdater(const TalvoKLVStream& stream) const;
    static void KeepOutside(TalvoKLVStream& stream, std::list<TalvoKLVStream*>& streams);
    TalvoKLVStream*& Place(unsigned port, StreamType type);
    void PostStreamChange(unsigned port, StreamType type, bool connected);
    void PostUpdaterConnected();

    boost::asio::io_context& mService;
    RouterPorts mPorts;
    std::shared_ptr<StreamChangedSignal> mStreamChanged;
    std::shared_ptr<UpdaterSignal> mUpdaterConnected;
    std::mutex mMutex;  ///< the streams, and each command's writing
    std::vector<LinkStreams> mStreams;
    std::list<TalvoKLVStream*> mSimulatedStreams;
    std::list<TalvoKLVStream*> mStrayStreams;  ///< that fit no link
    StdoutLog mLog;
    TalvoKLVSocketHandler mHandler;  ///< before what its streams' ends touch
    std::atomic<bool> mRunning{true};
    std::thread mSelectThread;
};
