#include <gmock/gmock.h>

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
    EXPECT_EQ(mManager->GetHid(), 0x1F01U);
    mBoard.SetDip(0);
    EXPECT_EQ(mManager->GetHid(), 0x1F01U) << "read once";
    EXPECT_EQ(mLog.Count("Brindlet Hid is now set to 0.0:1f01 \n"), 1U);
    WriteFile(mFolder / "var/lib/sorvel/etc/Extends/ExtendedHID", "0x1000001");
    BrindletManager another(mIo, mBoard, mFolder.Path());
    EXPECT_EQ(another.GetHid(), 0x100U) << "cut to 32 bits";
    EXPECT_EQ(another.GetProtocolLine(), "Protocol:               Unknown");
}

TEST_F(Controller, WritesTheRoutesOfAllRatesFromBothLinks) {
    Start();
    const std::vector<int> out{7, 6, -1, -1, 5, 4, -1, -1, 2, 3, -1, -1, 0, 1};
    const std::vector<int> twiceOut{7, 6, 23, 22, 5, 4, 21, 20, 2, 3, 18, 19, 0, 1, 16, 17};
    const std::vector<int> in{2, 3, 6, 7, 10, 11, 14, 15};
    std::vector<int> twiceIn{0, 1, 4, 5, 8, 9, 12, 13};
    twiceIn.insert(twiceIn.end(), 8, -1);
    twiceIn.insert(twiceIn.end(), in.begin(), in.end());
    for (const auto rate :
         {SampleRates::SR48k, SampleRates::SR44_1k, SampleRates::SR96k, SampleRates::SR88_2k}) {
        const bool isTwice = rate == SampleRates::SR96k || rate == SampleRates::SR88_2k;
        for (const char* link : {"t1", "t2"}) {
            EXPECT_EQ(RouteOf(link, "dacins", rate), isTwice ? twiceOut : out) << link << " " << rate;
            EXPECT_EQ(RouteOf("adcins", link, rate), isTwice ? twiceIn : in) << link << " " << rate;
        }
        EXPECT_THAT(RouteOf("adcins", "dacins", rate), ElementsAre(1, 0)) << "looped back at " << rate;
    }
    EXPECT_EQ(mLog.Count("Setting up out x2 @ 44.1kHz\n"), 2U);
    EXPECT_EQ(mLog.Count("Setting up ins x2 @ 96kHz\n"), 1U);
}

TEST_F(Controller, RegistersTheLinksClocksInTheirOrderAndOutOfPlay) {
    Start();
    const auto& clocks = mManager->ClockManager();
    EXPECT_TRUE(
        RunUntil(mIo, [&] { return !clocks->GetClock(1).mEnabled && !clocks->GetClock(2).mEnabled; }));
    EXPECT_EQ(clocks->PriorityList()[0]->mId, 1U);
    EXPECT_EQ(clocks->PriorityList()[1]->mId, 2U);
    EXPECT_EQ(mManager->GetActiveClockName(), "internal");
    const auto writes = WritesOf(mBoard, [this] { mManager.reset(); });
    EXPECT_THAT(writes, testing::UnorderedElementsAre("0003 W 0x30 0x00000000", "0004 W 0x30 0x00000000",
                                                      "0008 W 0x30 0x00000000", "000A W 0x30 0x00000000"))
        << "its interrupts are off at the end";
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

TEST_F(Controller, DoesNotStartWithoutADevice) {
    for (const char* identity : {"0003", "0004", "0007", "0008", "0009", "000A", "000C", "000D"}) {
        sim::BoardSettings settings;
        settings.mWithout = {identity};
        sim::Board board(settings);
        try {
            const BrindletManager manager(mIo, board, mFolder.Path());
            ADD_FAILURE() << identity;
        } catch (const std::system_error& error) {
            const std::string named = std::string("FSI '") + identity + "' (device '', fd -1, size 0)";
            EXPECT_EQ(std::string(error.what()).rfind(named, 0), 0U) << error.what();
        }
    }
}
