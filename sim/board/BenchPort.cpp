#include "BenchPort.h"

#include <boost/asio/io_service.hpp>
#include <thread>

#include "BenchRequests.h"
#include "Board.h"
#include "EventLoopLink.h"
#include "IdleWait.h"

namespace sim {

/// The bench's service and its thread.
class BenchPort::Server {
  public:
    Server(const LineEndpoint& endpoint, Board& board, EventLoopLink& loop)
        : mBoard(board),
          mLoop(loop),
          mRequests(board),
          mService(std::make_unique<boost::asio::io_service>()),
          mLines(*mService, endpoint, [this](const std::string& line) { return Answer(line); }) {}

    ~Server() {
        mService->stop();
        if (mThread.joinable()) {
            mThread.join();
        }
    }

    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    void Start() {
        mLines.Start();
        mThread = std::thread([this] { mService->run(); });
    }

    const std::string& Address() const { return mLines.Address(); }

  private:
    LineAnswer Answer(const std::string& line) {
        const BenchAnswer answer = mRequests.Handle(line);
        if (!answer.mWait) {
            return {answer.mReply, nullptr};
        }
        return {{}, [this, limit = *answer.mWait](LineAnswer::Done done) {
                    AwaitIdle(limit, std::move(done));
                }};
    }

    void AwaitIdle(std::chrono::milliseconds limit, LineAnswer::Done done) {
        const auto wait = std::make_shared<IdleWait>(*mService, mBoard, mLoop, limit,
                                                     [done = std::move(done)](const std::string& failure) {
                                                         done(failure.empty() ? "ok" : "error " + failure);
                                                     });
        wait->Start();
    }

    Board& mBoard;
    EventLoopLink& mLoop;
    BenchRequests mRequests;
    std::unique_ptr<boost::asio::io_service> mService;
    LineServer mLines;
    std::thread mThread;
};

BenchPort::BenchPort(const LineEndpoint& endpoint, Board& board, EventLoopLink& loop)
    : mServer(std::make_unique<Server>(endpoint, board, loop)) {}

BenchPort::~BenchPort() = default;

void BenchPort::Start() {
    mServer->Start();
}

std::string BenchPort::Address() const {
    return mServer->Address();
}

}  // namespace sim
