#include <boost/asio/io_service.hpp>
#include <boost/asio/signal_set.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>

#include "LineServer.h"
#include "RouterLink.h"
#include "RouterOptions.h"
#include "RouterRequests.h"
#include "StandardInput.h"

namespace {

constexpr int kWrongOption = 2;
constexpr std::uint16_t kBoxMasterPort = 55100;

/// A `raw` request of all that may wait for the box, with some room for the word itself.
constexpr std::size_t kMaxLine = 2 * sim::RouterStream::kMaxUnsent + 64;

sim::RouterEnds EndsOf(const sim::RouterOptions& options) {
    sim::RouterEnds ends;
    ends.mLocal = options.mLocal;
    ends.mBox = options.mBox;
    if (options.mMaster) {
        ends.mBoxTcp = kBoxMasterPort;
    }
    return ends;
}

void Run(const sim::RouterOptions& options) {
    boost::asio::io_service service;
    sim::RouterLink link(service, EndsOf(options), options.mHid, options.mType);
    sim::RouterRequests requests(link);
    const auto handle = [&requests](const std::string& line) {
        return requests.Handle(line);
    };
    std::unique_ptr<sim::LineServer> control;
    if (options.mControl) {
        control = std::make_unique<sim::LineServer>(
            service, *options.mControl,
            [handle](const std::string& line) {
                return sim::LineAnswer{handle(line), nullptr};
            },
            kMaxLine);
        std::printf("control: %s\n", control->Address().c_str());
        std::fflush(stdout);
        control->Start();
    }
    boost::asio::signal_set signals(service, SIGINT, SIGTERM);
    signals.async_wait([&service](const boost::system::error_code&, int) { service.stop(); });
    sim::StandardInput input(service, kMaxLine, handle);
    link.Start();
    input.Start();
    service.run();
}

}  // namespace

int main(int argc, char* argv[]) {
    std::signal(SIGPIPE, SIG_IGN);
    try {
        const sim::RouterOptions options = sim::ParseRouterOptions(argc, argv);
        if (options.mHelp) {
            std::fputs(sim::RouterOptionsHelp().c_str(), stdout);
            return 0;
        }
        sim::JudgeAddresses(options);
        Run(options);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "talvo-router-sim: %s\n", failure.what());
        return kWrongOption;
    }
    return 0;
}
