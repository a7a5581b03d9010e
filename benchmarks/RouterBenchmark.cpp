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

#include "AdcControlFsi_KX4093.h"
#include "AudioDmaFsi.h"
#include "AudioDmaManager.h"
#include "Audit.h"
#include "BrindletStatusManager.h"
#include "ClocksFsi_KX4093.h"
#include "CommandLine.h"
#include "DacControlFsi_KX4093.h"
#include "DeskCommands.h"
#include "DiskNodes.h"
#include "ExternalClockManager.h"
#include "ExternalReferenceFsi.h"
#include "IOStream.h"
#include "IoCard_KX4093.h"
#include "Quiet.h"
#include "Registers.h"
#include "RemoteAuditor.h"
#include "RouteSetUp.h"
#include "T2FsiLink.h"
#include "TalvoCommandProcessor.h"
#include "TalvoKLVComms.h"
#include "TalvoPortManager.h"

// What a router's command costs on its way to the event loop: its decoding and delivery alone, and the whole
// way from its last byte on TCP, against its floor: an Asio reader of as many bytes that posts. A bitmap goes
// further, to the last word of the table in the FPGA's register; its floor ends with as many bare stores.

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

/// The floor of a bitmap's whole road: its delivery, then as many bare stores as the table has words, and the
/// address.
void BareDeliveryAndStores(benchmark::State& state) {
    const OneCore core;
    const DiskNodes nodes({{"0003", 0}});
    fsi::UioBus bus = nodes.Bus();
    const audio::AudioDmaFsi fsi(bus);
    auto* const base = reinterpret_cast<volatile std::uint32_t*>(fsi.MappedBase());
    boost::asio::io_service io;
    const boost::asio::io_service::work work(io);
    bool isDelivered = false;
    const Reader reader(io, Bitmap().size(), [&] {
        for (unsigned word = 0; word <= audio::AudioDmaFsi::kTableSize; ++word) {
            base[fsi::registers::kIndirectData / sizeof(std::uint32_t)] = word;
        }
        isDelivered = true;
    });
    tcp::socket router(io);
    Connect(router, reader.Port());
    MeasureDeliveries(state, io, router, isDelivered);
}
BENCHMARK(BareDeliveryAndStores)->Name("Router/TcpToTable/Floor")->MeasureProcessCPUTime()->UseRealTime();

/// What the port manager asks of the controller.
class Talvo2Box : public TalvoBrindlet::BrindletStatusManager {
  public:
    std::uint32_t GetHid() override { return 1; }
    std::uint32_t GetIoBoxStatus() const override { return 0; }
    audio::FrequencyScaler GetFrequencyScaler() const override { return audio::FrequencyScaler::X2; }
    SampleRates::SystemSampleRates GetSampleRate() const override { return SampleRates::SR48k; }
    TalvoBrindlet::OperatingMode GetOperatingMode() const override {
        return TalvoBrindlet::OperatingMode::Talvo2;
    }
    std::int32_t GetProtocol() const override { return 1; }
    bool IsPrimaryLinkUp() const override { return true; }
    bool IsSecondaryLinkUp() const override { return true; }
    std::int32_t GetActiveLink() const override { return 0; }
};

/// The box's audio side on plain memory, where no change-over ever ends.
struct AudioSide {
    explicit AudioSide(boost::asio::io_service& io) {
        mDma->SetEndpoints({mPrimary, mSecondary, mAdcClocks, mDacClocks});
        TalvoBrindlet::WriteRouteTables({mPrimary, mSecondary}, *mAdcClocks, *mDacClocks);
        mPorts = std::make_unique<TalvoBrindlet::TalvoPortManager>(
            &mBox, mDma, mClocks, mPrimary, mSecondary,
            std::make_shared<TalvoBrindlet::IoCard_KX4093>(0, 0, 0, mAdc, mDac, mAdcClocks, mDacClocks, io));
    }

    const DiskNodes mNodes{{{"0003", 0}, {"0004", 0}, {"0007", 0}, {"0008", 0}, {"000C", 1}, {"000D", 4}}};
    fsi::UioBus mBus = mNodes.Bus();
    fsi::DeviceRegistry mDevices;
    Talvo2Box mBox;
    std::shared_ptr<TalvoBrindlet::AdcControlFsi_KX4093> mAdc =
        mDevices.Add<TalvoBrindlet::AdcControlFsi_KX4093>("adc", mBus);
    std::shared_ptr<TalvoBrindlet::DacControlFsi_KX4093> mDac =
        mDevices.Add<TalvoBrindlet::DacControlFsi_KX4093>("dac", mBus);
    std::shared_ptr<TalvoBrindlet::AdcClocksFsi_KX4093> mAdcClocks =
        mDevices.Add<TalvoBrindlet::AdcClocksFsi_KX4093>("adcins", mBus);
    std::shared_ptr<TalvoBrindlet::DacClocksFsi_KX4093> mDacClocks =
        mDevices.Add<TalvoBrindlet::DacClocksFsi_KX4093>("dacins", mBus);
    std::shared_ptr<audio::AudioDmaFsi> mAdma = mDevices.Add<audio::AudioDmaFsi>("adma", mBus);
    std::shared_ptr<audio::ExternalReferenceFsi> mReference =
        mDevices.Add<audio::ExternalReferenceFsi>("extref", mBus);
    std::shared_ptr<audio::T2FsiLink> mPrimary = mDevices.Add<audio::T2FsiLink>("t1", 3U, 1U);
    std::shared_ptr<audio::T2FsiLink> mSecondary = mDevices.Add<audio::T2FsiLink>("t2", 2U, 2U);
    boost::asio::io_service mUnused;
    std::shared_ptr<audio::ExternalClockManager> mClocks =
        std::make_shared<audio::ExternalClockManager>(mUnused, mReference);
    std::shared_ptr<audio::AudioDmaManager> mDma = std::make_shared<audio::AudioDmaManager>(&mDevices, mAdma);
    std::unique_ptr<TalvoBrindlet::TalvoPortManager> mPorts;
};

void BitmapToTable(benchmark::State& state) {
    const QuietOutput quiet;
    const OneCore core;
    Links links;
    AudioSide audioSide(links.mIo);
    bool isDelivered = false;
    links.mProcessor.Register<PortBitmapCmd>(PortBitmapCmd::kId,
                                             [&](const auto& command, unsigned char, StreamType) {
                                                 audioSide.mPorts->HandlePortBitmap(command, 0);
                                                 isDelivered = true;
                                             });
    MeasureDeliveries(state, links.mIo, links.mRouter, isDelivered);
}
BENCHMARK(BitmapToTable)->Name("Router/TcpToTable")->MeasureProcessCPUTime()->UseRealTime();

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
