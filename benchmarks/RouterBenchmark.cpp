#include <benchmark/benchmark.h>

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_service.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "Audit.h"
#include "CommandLine.h"
#include "DeskCommands.h"
#include "IOStream.h"
#include "Quiet.h"
#include "RemoteAuditor.h"
#include "TalvoCommandProcessor.h"
#include "TalvoKLVComms.h"

// What a router's command costs on its way to the event loop: its decoding and delivery alone, and the whole
// way from its last byte on TCP, against its floor: an Asio reader of as many bytes that posts.

namespace {

using boost::asio::ip::tcp;
using StreamType = iRouterKLVComms::StreamType;

constexpr std::uint16_t kEntries = 8;

std::string Bitmap(std::uint32_t hid = 1) {
    PortBitmapCmd command;
    command.mHid = hid;
    for (std::uint16_t port = 0; port < kEntries; ++port) {
        command.mEntries[port] = {0x5000, static_cast<std::uint8_t>(port)};
    }
    IOStream stream;
    command.Write(stream);
    return stream.Bytes();
}

void DecodeAndDeliver(benchmark::State& state) {
    boost::asio::io_service io;
    TalvoCommandProcessor processor(io);
    std::size_t heard = 0;
    processor.Register<PortBitmapCmd>(
        PortBitmapCmd::kId,
        [&heard](const auto& command, unsigned char, StreamType) { heard += command->mEntries.size(); });
    const std::string bytes = Bitmap();
    IOStream stream;
    for (auto _ : state) {
        stream.Reset(bytes);
        {
            KLVCommandReadSet set(stream);
            processor.Dispatch(set, 0, StreamType::Local);
        }
        io.restart();
        io.poll();
    }
    if (heard != static_cast<std::size_t>(state.iterations()) * kEntries) {
        state.SkipWithError("commands were lost");
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(DecodeAndDeliver)->Name("Router/DecodeAndDeliver");

/// Sends a message and runs the event loop until it has been delivered, over and over.
void MeasureDeliveries(benchmark::State& state, boost::asio::io_service& io, tcp::socket& router,
                       const bool& isDelivered) {
    const std::string bytes = Bitmap();
    for (auto _ : state) {
        boost::asio::write(router, boost::asio::buffer(bytes));
        while (!isDelivered) {
            io.restart();
            io.run_one();
        }
        const_cast<bool&>(isDelivered) = false;
    }
}

/// Reads messages of one size on a thread of its own, and posts that they have come.
class Reader {
  public:
    Reader(boost::asio::io_service& eventLoop, std::size_t size, std::function<void()> onMessage)
        : mEventLoop(eventLoop),
          mAcceptor(mService, {boost::asio::ip::address_v4::loopback(), 0}),
          mSocket(mService),
          mMessage(size),
          mOnMessage(std::move(onMessage)) {
        mAcceptor.async_accept(mSocket, [this](const boost::system::error_code&) { Read(); });
        mThread = std::thread([this] { mService.run(); });
    }
    ~Reader() {
        mService.stop();
        mThread.join();
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    std::uint16_t Port() const { return mAcceptor.local_endpoint().port(); }

  private:
    void Read() {
        boost::asio::async_read(mSocket, boost::asio::buffer(mMessage),
                                [this](const boost::system::error_code& error, std::size_t) {
                                    if (!error) {
                                        boost::asio::post(mEventLoop, mOnMessage);
                                        Read();
                                    }
                                });
    }

    boost::asio::io_service& mEventLoop;
    boost::asio::io_service mService;
    tcp::acceptor mAcceptor;
    tcp::socket mSocket;
    std::vector<char> mMessage;
    std::function<void()> mOnMessage;
    std::thread mThread;
};

void Connect(tcp::socket& socket, std::uint16_t port) {
    socket.open(tcp::v4());
    // Not the box's own address: that would be a simulated box's.
    socket.bind({boost::asio::ip::make_address_v4("127.0.0.2"), 0});
    socket.connect({boost::asio::ip::address_v4::loopback(), port});
    socket.set_option(tcp::no_delay(true));
}

void BareDelivery(benchmark::State& state) {
    const OneCore core;
    boost::asio::io_service io;
    const boost::asio::io_service::work work(io);
    bool isDelivered = false;
    const Reader reader(io, Bitmap().size(), [&isDelivered] { isDelivered = true; });
    tcp::socket router(io);
    Connect(router, reader.Port());
    MeasureDeliveries(state, io, router, isDelivered);
}
BENCHMARK(BareDelivery)->Name("Router/TcpToEventLoop/Floor")->MeasureProcessCPUTime()->UseRealTime();

/// The command links, with loopback as link 1 and one router.
class Links {
  public:
    Links() {
        mComms.StreamChanged().connect(
            [this](unsigned char, StreamType, bool connected) { mIsConnected = connected; });
        Connect(mRouter, mComms.IoPort());
        while (!mIsConnected) {
            mIo.run_one();
        }
    }

    static RouterPorts Ports() {
        RouterPorts ports;
        ports.mIo = 0;
        ports.mMaster = 0;
        ports.mInterfaces = {"", "lo"};
        return ports;
    }

    boost::asio::io_service mIo;
    const boost::asio::io_service::work mWork{mIo};
    bool mIsConnected = false;
    TalvoCommandProcessor mProcessor{mIo};
    TalvoKLVComms mComms{mIo, mProcessor, 2, Ports()};
    tcp::socket mRouter{mIo};
};

void CommandDelivery(benchmark::State& state) {
    const QuietOutput quiet;
    const OneCore core;
    Links links;
    bool isDelivered = false;
    links.mProcessor.Register<PortBitmapCmd>(
        PortBitmapCmd::kId,
        [&isDelivered](const auto& /*command*/, unsigned char, StreamType) { isDelivered = true; });
    MeasureDeliveries(state, links.mIo, links.mRouter, isDelivered);
}
BENCHMARK(CommandDelivery)->Name("Router/TcpToEventLoop")->MeasureProcessCPUTime()->UseRealTime();

/// Ten thousand commands at once, each with a line in the log that a client of the shell tails.
void Burst(benchmark::State& state) {
    constexpr std::uint32_t kCommands = 10000;
    const QuietOutput quiet;
    Links links;
    cmd::CommandLine shell(links.mIo, {boost::asio::ip::address_v4::loopback(), 0}, "benchmark");
    auto auditor = std::make_unique<cmd::RemoteAuditor>(shell, "", "/dev/null");
    auditor->SetTailOnConnect(true);
    Audit::SetInstance(std::move(auditor));
    tcp::socket tail(links.mIo);
    tail.connect({boost::asio::ip::address_v4::loopback(), shell.Endpoint().port()});
    std::uint32_t next = 0;
    bool isInOrder = true;
    links.mProcessor.Register<PortBitmapCmd>(PortBitmapCmd::kId,
                                             [&](const auto& command, unsigned char, StreamType) {
                                                 AUDIT(Feature::Information, "command %u\n", command->mHid);
                                                 isInOrder = isInOrder && command->mHid == next;
                                                 ++next;
                                             });
    std::string burst;
    for (std::uint32_t hid = 0; hid < kCommands; ++hid) {
        burst += Bitmap(hid);
    }
    std::array<char, 65536> tailed{};
    for (auto _ : state) {
        next = 0;
        std::thread router([&] { boost::asio::write(links.mRouter, boost::asio::buffer(burst)); });
        while (next < kCommands) {
            links.mIo.restart();
            links.mIo.run_one();
            boost::system::error_code ignored;
            if (tail.available(ignored) > 0) {
                tail.read_some(boost::asio::buffer(tailed), ignored);
            }
        }
        router.join();
    }
    if (!isInOrder) {
        state.SkipWithError("commands came out of order");
    }
    state.SetItemsProcessed(state.iterations() * kCommands);
    Audit::DestroyInstance();
}
BENCHMARK(Burst)
    ->Name("Router/BurstWhileTailing")
    ->MeasureProcessCPUTime()
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
