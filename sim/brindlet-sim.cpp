#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>

#include "BenchPort.h"
#include "BenchRoot.h"
#include "Board.h"
#include "EventLoopLink.h"
#include "Platform.h"
#include "RunApplication.h"
#include "SimOptions.h"

namespace {

constexpr int kWrongOption = 2;

/// What stands around the application on a bench. The port comes first to listen, so that a second box with
/// the same options touches nothing of the first one's.
struct Bench {
    explicit Bench(const sim::SimOptions& options)
        : mBoard(options.mBoard),
          mPort(options.mBench, mBoard, mLoop),
          mRoot(sim::PrepareRoot(options.mRoot)) {
        if (!options.mTrace.empty()) {
            mBoard.StartTrace(options.mTrace);
        }
        mPort.Start();
    }

    sim::Board mBoard;
    sim::EventLoopLink mLoop;
    sim::BenchPort mPort;
    std::string mRoot;
};

}  // namespace

int main(int argc, char* argv[]) {
    // A script may take the first line of the output and close it.
    std::signal(SIGPIPE, SIG_IGN);
    sim::SimOptions options;
    std::unique_ptr<Bench> bench;
    try {
        options = sim::ParseSimOptions(argc, argv);
        if (options.mHelp) {
            std::fputs(sim::SimOptionsHelp().c_str(), stdout);
            return 0;
        }
        bench = std::make_unique<Bench>(options);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "brindlet-sim: %s\n", failure.what());
        return kWrongOption;
    }
    std::printf("bench: %s\n", bench->mPort.Address().c_str());
    std::fflush(stdout);
    // From here on it is the product: what it throws ends the process as it would on the box.
    const Platform platform{bench->mBoard, bench->mRoot, [&bench](boost::asio::io_context* loop) {
                                bench->mLoop.Attach(loop);
                            }};
    return RunApplication(static_cast<int>(options.mApplication.size()) - 1, options.mApplication.data(),
                          platform);
}
