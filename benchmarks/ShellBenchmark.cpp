#include <benchmark/benchmark.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_service.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/streambuf.hpp>
#include <boost/asio/write.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "ActionN.h"
#include "Audit.h"
#include "CommandLine.h"
#include "Node.h"
#include "Quiet.h"
#include "RemoteAuditor.h"

// What a typed command costs from the client's line to its reply, against its floor: the same client and an
// Asio server that sends each line back. Both ends share one core, so that the figure is work and not
// waiting.

namespace {

using boost::asio::ip::tcp;

const tcp::endpoint kFreePort(boost::asio::ip::address_v4::loopback(), 0);

/// Types `hid` and waits for the line that comes back, over and over.
void MeasureRoundTrips(benchmark::State& state, std::uint16_t port, const std::string& greetingEnd) {
    boost::asio::io_service io;
    tcp::socket socket(io);
    socket.connect({boost::asio::ip::address_v4::loopback(), port});
    socket.set_option(tcp::no_delay(true));
    std::string received;
    if (!greetingEnd.empty()) {
        received.erase(0,
                       boost::asio::read_until(socket, boost::asio::dynamic_buffer(received), greetingEnd));
    }
    const std::string line = "hid\n";
    for (auto _ : state) {
        boost::asio::write(socket, boost::asio::buffer(line));
        received.erase(0, boost::asio::read_until(socket, boost::asio::dynamic_buffer(received), '\n'));
    }
}

/// Sends each line of its one client back.
class LineEcho {
  public:
    explicit LineEcho(boost::asio::io_service& io) : mAcceptor(io, kFreePort), mSocket(io) {
        mAcceptor.async_accept(mSocket, [this](const boost::system::error_code&) {
            mSocket.set_option(tcp::no_delay(true));
            Read();
        });
    }

    std::uint16_t Port() const { return mAcceptor.local_endpoint().port(); }

  private:
    void Read() {
        boost::asio::async_read_until(mSocket, mInput, '\n',
                                      [this](const boost::system::error_code& error, std::size_t length) {
                                          if (!error) {
                                              Write(length);
                                          }
                                      });
    }

    void Write(std::size_t length) {
        boost::asio::async_write(mSocket, boost::asio::buffer(mInput.data(), length),
                                 [this](const boost::system::error_code&, std::size_t written) {
                                     mInput.consume(written);
                                     Read();
                                 });
    }

    tcp::acceptor mAcceptor;
    tcp::socket mSocket;
    boost::asio::streambuf mInput;
};

void EchoRoundTrip(benchmark::State& state) {
    const OneCore core;
    boost::asio::io_service io;
    LineEcho echo(io);
    std::thread server([&io] { io.run(); });
    MeasureRoundTrips(state, echo.Port(), "");
    server.join();
}
BENCHMARK(EchoRoundTrip)->Name("Shell/RoundTrip/Floor")->MeasureProcessCPUTime()->UseRealTime();

/// A shell with one command, prepared by `setUp`.
void MeasureShell(benchmark::State& state, const std::function<void(cmd::CommandLine&)>& setUp) {
    const OneCore core;
    boost::asio::io_service io;
    cmd::CommandLine shell(io, kFreePort, "benchmark");
    shell.Root()->AddAction(cmd::action::MakeAction(
        "hid", [] { return std::string("Hid is set to 4660 ( 0x1234 )"); }, "Shows the Brindlet HID."));
    setUp(shell);
    std::thread server([&shell] { shell.Run(); });
    MeasureRoundTrips(state, shell.Endpoint().port(), "'cmd'.\n");
    shell.Stop();
    server.join();
    Audit::DestroyInstance();
}

void ShellRoundTrip(benchmark::State& state) {
    MeasureShell(state, [](cmd::CommandLine&) {});
}
BENCHMARK(ShellRoundTrip)->Name("Shell/RoundTrip")->MeasureProcessCPUTime()->UseRealTime();

/// With the log that the product writes for each command: two lines, to a file and to standard output.
void LoggedRoundTrip(benchmark::State& state) {
    const QuietOutput quiet;
    MeasureShell(state, [](cmd::CommandLine& shell) {
        Audit::SetInstance(std::make_unique<cmd::RemoteAuditor>(shell, "", "/dev/null"));
        shell.SetOnReceived([](const std::string& line) {
            AUDIT(Feature::Information, "CommandLine: Received %s\r\n", line.c_str());
        });
        shell.SetOnSent([](const std::string& command, const std::string& reply) {
            Audit::Instance().OutputLong(Feature::Information,
                                         "CommandLine: Sent " + command + "Result:\r\n" + reply + "\r\n");
        });
    });
}
BENCHMARK(LoggedRoundTrip)->Name("Shell/RoundTrip/Logged")->MeasureProcessCPUTime()->UseRealTime();

}  // namespace
