#pragma once

#include <atomic>
#include <cstddef>
#include <memory>

#include "SocketHandler.h"

class iRouterKLVComms;
class TalvoCommandProcessor;

/// The loop of the command links; tells its streams whom they serve.
class TalvoKLVSocketHandler : public SocketHandler {
  public:
    /// All three outlive the handler.
    TalvoKLVSocketHandler(StdLog& log, iRouterKLVComms& comms, TalvoCommandProcessor& processor)
        : SocketHandler(log), mComms(comms), mProcessor(processor) {}
    ~TalvoKLVSocketHandler() override { CloseAll(); }

    iRouterKLVComms& Comms() const { return mComms; }
    TalvoCommandProcessor& Processor() const { return mProcessor; }

    /// The bytes of all commands that wait for the event loop, those of ended streams too. Any thread.
    const std::shared_ptr<std::atomic<std::size_t>>& WaitingBytes() const { return mWaitingBytes; }

  private:
    iRouterKLVComms& mComms;
    TalvoCommandProcessor& mProcessor;
    std::shared_ptr<std::atomic<std::size_t>> mWaitingBytes = std::make_shared<std::atomic<std::size_t>>(0);
};
