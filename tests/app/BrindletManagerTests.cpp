#include "BrindletManager.h"

#include <gmock/gmock.h>

#include <boost/asio/io_service.hpp>
#include <boost/filesystem.hpp>
#include <system_error>

#include "AudioDmaManager.h"
#include "Board.h"
#include "CapturedLog.h"
#include "EventLoop.h"
#include "RegisterAccesses.h"
#include "TalvoRouterComms.h"
#include "TransactionWord.h"

using TalvoBrindlet::BrindletManager;
using testing::ElementsAre;

namespace {

class Controller : public testing::Test {
  protected:
    static sim::BoardSettings Settings() {
        sim::BoardSettings settings;
        settings.mDip = 0x2A;
        return settings;
    }

    ~Controller() override { EXPECT_THAT(mBoard.Violations(), ElementsAre()); }

    void Start() {
        mManager = std::make_unique<BrindletManager>(mIo, mBoard, mFolder.Path());
        mManager->Initialise();
        mBoard.Links().SetLink(0, {true, 1, 1, {}, 3, {}});
        mBoard.Links().SetLink(1, {true, 1, 1, {}, 2, {}});
        RouterPorts ports;
        ports.mIo = 0;
        ports.mMaster = 0;
        ports.mInterfaces = {"brtest0", "brtest1"};
        mComms = std::make_shared<TalvoRouterComms>(
            mIo, [] { return 0UL; }, [] { return 0UL; }, 2, ports);
        mManager->SetRouterComms(mComms);
        ASSERT_TRUE(RunUntil(mIo, [this] { return mBoard.Activity().mBusyWith.empty(); }));
    }

    /// The link or ADC sample of each DAC slot at X2 and the rate, -1 where silent.
    std::vector<int> DacSlots(const std::string& source, SampleRates::SystemSampleRates rate) {
        const auto endpoint = mManager->DmaManager()->Find(source);
        endpoint->SetSampleRate(audio::FrequencyScaler::X2, rate);
        return Samples(endpoint->CurrentRoute(*mManager->DmaManager()->Find("dacins")));
    }

    static std::vector<int> Samples(const audio::AudioDmaEndpoint::Route& route) {
        std::vector<int> samples;
        for (const std::uint16_t word : route) {
            samples.push_back(word == 0 ? -1 : static_cast<int>(audio::SampleOf(word)));
        }
        return samples;
    }

    ScopedFolder mFolder;
    CapturedLog mLog;
    sim::Board mBoard{Settings()};
    boost::asio::io_service mIo;
    std::unique_ptr<BrindletManager> mManager;
    std::shared_ptr<TalvoRouterComms> mComms;
};

}  // namespace

TEST_F(Controller, BuildsItsIdentityFromSwitchesAndExtension) {
    boost::filesystem::create_directories(mFolder / "var/lib/sorvel/etc/Extends");
    WriteFile(mFolder / "var/lib/sorvel/etc/Extends/ExtendedHID", "1F");
    Start();
    EXPECT_EQ(mManager->GetHid(), 0x1F2AU);
    mBoard.SetDip(0);
    EXPECT_EQ(mManager->GetHid(), 0x1F2AU) << "read once";
    EXPECT_EQ(mLog.Count("Brindlet Hid is now set to 0.0:1f2a \n"), 1U);
    WriteFile(mFolder / "var/lib/sorvel/etc/Extends/ExtendedHID", "0x1000001");
    BrindletManager another(mIo, mBoard, mFolder.Path());
    EXPECT_EQ(another.GetHid(), 0x100U) << "cut to 32 bits";
    EXPECT_EQ(another.GetProtocolLine(), "Protocol:               Unknown");
}

TEST_F(Controller, WritesTheRoutesOfAllRatesFromBothLinks) {
    Start();
    const std::vector<int> single{7, 6, -1, -1, 5, 4, -1, -1, 2, 3, -1, -1, 0, 1, -1, -1};
    const std::vector<int> twice{7, 6, 23, 22, 5, 4, 21, 20, 2, 3, 18, 19, 0, 1, 16, 17};
    for (const char* link : {"t1", "t2"}) {
        EXPECT_EQ(DacSlots(link, SampleRates::SR48k), single);
        EXPECT_EQ(DacSlots(link, SampleRates::SR44_1k), single);
        EXPECT_EQ(DacSlots(link, SampleRates::SR96k), twice);
        EXPECT_EQ(DacSlots(link, SampleRates::SR88_2k), twice);
    }
    const auto adcRoute = [this](const char* link, SampleRates::SystemSampleRates rate, std::size_t shown) {
        const auto adc = mManager->DmaManager()->Find("adcins");
        adc->SetSampleRate(audio::FrequencyScaler::X2, rate);
        auto samples = Samples(adc->CurrentRoute(*mManager->DmaManager()->Find(link)));
        EXPECT_EQ(samples.size(), 512U);
        samples.resize(shown);
        return samples;
    };
    for (const char* link : {"t1", "t2"}) {
        EXPECT_THAT(adcRoute(link, SampleRates::SR44_1k, 9), ElementsAre(2, 3, 6, 7, 10, 11, 14, 15, -1));
        EXPECT_THAT(adcRoute(link, SampleRates::SR96k, 25),
                    ElementsAre(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1, 2, 3, 6, 7, 10, 11,
                                14, 15, -1));
    }
    std::vector<int> loopback(16, -1);
    loopback[0] = 1;
    loopback[1] = 0;
    for (const auto rate :
         {SampleRates::SR48k, SampleRates::SR44_1k, SampleRates::SR96k, SampleRates::SR88_2k}) {
        EXPECT_EQ(DacSlots("adcins", rate), loopback);
    }
}

TEST_F(Controller, LogsTheRouteSetUpInOrder) {
    Start();
    std::vector<std::string> lines;
    for (const std::string& line : mLog.Lines()) {
        if (line.rfind("Setting up", 0) == 0) {
            lines.push_back(line.substr(11, line.size() - 12));
        }
    }
    EXPECT_THAT(lines, ElementsAre("out x2 @ 48kHz", "out x2 @ 44.1kHz", "out x2 @ 96kHz", "out x2 @ 88.2kHz",
                                   "out x2 @ 48kHz", "out x2 @ 44.1kHz", "out x2 @ 96kHz", "out x2 @ 88.2kHz",
                                   "ins x2 @ 48kHz", "ins x2 @ 44.1kHz", "ins x2 @ 96kHz", "ins x2 @ 88.2kHz",
                                   "loopback x2@48K", "loopback x2 @ 48kHz", "loopback x2 @ 44.1kHz",
                                   "loopback x2 @ 96kHz", "loopback x2 @ 88.2kHz"));
}

TEST_F(Controller, StartsWithASilentTableInUseAndDisablesItsInterruptsAtTheEnd) {
    Start();
    for (const unsigned word : {0x600U, 0x400U, 0x800U, 0x80FU}) {
        EXPECT_EQ(mBoard.Hear(word), 0U) << word;
    }
    const auto writes = WritesOf(mBoard, [this] { mManager.reset(); });
    EXPECT_THAT(writes, testing::UnorderedElementsAre("0003 W 0x30 0x00000000", "0004 W 0x30 0x00000000",
                                                      "0008 W 0x30 0x00000000", "000A W 0x30 0x00000000"));
}

TEST(ControllerWithoutADevice, DoesNotStart) {
    const CapturedLog log;
    boost::asio::io_service io;
    for (const char* identity : {"0003", "0004", "0007", "0008", "0009", "000A", "000C", "000D"}) {
        sim::BoardSettings settings;
        settings.mWithout = {identity};
        sim::Board board(settings);
        try {
            const BrindletManager manager(io, board, "");
            ADD_FAILURE() << identity;
        } catch (const std::system_error& error) {
            EXPECT_EQ(std::string(error.what())
                          .find(std::string("FSI '") + identity + "' (device '', fd -1, size 0)"),
                      0U)
                << error.what();
        }
    }
}
