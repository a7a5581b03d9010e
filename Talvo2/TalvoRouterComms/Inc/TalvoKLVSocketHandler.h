#pragma once

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

  private:
    iRouterKLVComms& mComms;
    TalvoCommandProcessor& mProcessor;
};
