#include <gmock/gmock.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <system_error>

#include "ControllerFixture.h"
#include "ExternalClockManager.h"

using TalvoBrindlet::BrindletManager;
using testing::ElementsAre;

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

TEST_F(Controller, RegistersTheLinksClocksInTheirOrderAndOutOfPlay) {
    Start();
    const auto& clocks = mManager->ClockManager();
    EXPECT_TRUE(
        RunUntil(mIo, [&] { return !clocks->GetClock(1).mEnabled && !clocks->GetClock(2).mEnabled; }));
    std::vector<unsigned> order;
    for (const auto& clock : clocks->PriorityList()) {
        order.push_back(clock->mId);
    }
    EXPECT_THAT(order, testing::IsSupersetOf({1U, 2U}));
    EXPECT_LT(std::find(order.begin(), order.end(), 1U), std::find(order.begin(), order.end(), 2U));
    EXPECT_EQ(mManager->GetActiveClockName(), "internal");
}

TEST_F(Controller, WaitsForARateThatIsNewAlone) {
    Start();
    const auto set = [this](SampleRates::SystemSampleRates rate, std::uint32_t waitMs) {
        const auto begin = std::chrono::steady_clock::now();
        mManager->SetSampleRate(audio::FrequencyScaler::X2, rate, waitMs);
        return std::chrono::steady_clock::now() - begin;
    };
    mLog.Enable(Feature::TalvoIoBox);
    EXPECT_LT(set(SampleRates::SR48k, 50000), std::chrono::seconds(40)) << "the present one";
    EXPECT_GE(set(SampleRates::SR96k, 100), std::chrono::milliseconds(100));
    EXPECT_EQ(mManager->GetSampleRate(), SampleRates::SR96k);
    EXPECT_EQ(mBoard.Word("000C", 0x60000), mBoard.Word("000D", 0x60000));
    EXPECT_EQ(mLog.Count("cut to"), 0U);
    EXPECT_EQ(mLog.Count("Brindlet: setting sample rate from 48kHz@X2 to 96kHz@X2 \n"), 1U);
}
