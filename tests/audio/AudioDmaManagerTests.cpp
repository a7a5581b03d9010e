#include "AudioDmaManager.h"

#include <gmock/gmock.h>

#include "Board.h"
#include "CapturedLog.h"
#include "ClocksFsi_KX4093.h"
#include "EventLoop.h"
#include "RegisterAccesses.h"
#include "T2FsiLink.h"
#include "TransactionWord.h"
#include "UioInterruptController.h"

using audio::AudioDmaManager;
using audio::EndpointWord;
using testing::ElementsAre;

namespace {

constexpr unsigned kT1 = 3;
constexpr unsigned kT2 = 2;
constexpr unsigned kDac = 4;

/// The audio side of the box on a board: two links, the converters' clocks, the table and its interrupt.
class AudioDma : public testing::Test {
  protected:
    ~AudioDma() override { EXPECT_THAT(mBoard.Violations(), ElementsAre()); }

    void Start() {
        mManager->SetEndpoints({mT1, mT2, mAdcIns, mDacIns});
        // The sync thread asks whenever it gets to it.
        ASSERT_TRUE(RunUntil(mIo, [this] { return HeardInSlot(0) == 0U; }) && Settle());
    }

    /// Until the board has nothing in hand and the event loop nothing to run.
    bool Settle() {
        return RunUntil(mIo, [this] { return mBoard.Activity().mBusyWith.empty(); });
    }

    /// Routes sample `sample` of link 1 to DAC slot 0, and asks for a sync.
    void RouteSlot0(unsigned sample) {
        mManager->SetSources({EndpointWord(kDac, 0)}, {EndpointWord(kT1, sample)});
        mManager->Sync();
    }

    std::optional<std::uint32_t> HeardInSlot(unsigned slot) const {
        return mBoard.Hear(EndpointWord(kDac, slot));
    }

    sim::Board mBoard{sim::BoardSettings{}};
    CapturedLog mLog;
    boost::asio::io_service mIo;
    fsi::DeviceRegistry mRegistry;
    std::shared_ptr<audio::T2FsiLink> mT1 = mRegistry.Add<audio::T2FsiLink>("t1", kT1, 1U);
    std::shared_ptr<audio::T2FsiLink> mT2 = mRegistry.Add<audio::T2FsiLink>("t2", kT2, 2U);
    std::shared_ptr<TalvoBrindlet::AdcClocksFsi_KX4093> mAdcIns =
        mRegistry.Add<TalvoBrindlet::AdcClocksFsi_KX4093>("adcins", mBoard);
    std::shared_ptr<TalvoBrindlet::DacClocksFsi_KX4093> mDacIns =
        mRegistry.Add<TalvoBrindlet::DacClocksFsi_KX4093>("dacins", mBoard);
    std::shared_ptr<audio::AudioDmaFsi> mFsi = mRegistry.Add<audio::AudioDmaFsi>("adma", mBoard);
    std::shared_ptr<AudioDmaManager> mManager = std::make_shared<AudioDmaManager>(&mRegistry, mFsi);
    fsi::UioInterruptController mInterrupts{mIo, {mFsi}};
};

}  // namespace

TEST_F(AudioDma, LaysTheSinksOutInOrderAndLinksHaveAStraightRouteAt48k) {
    Start();
    const std::vector<std::uint16_t>& destinations = mManager->Destinations();
    const std::vector<int> corners{destinations[0], destinations[512], destinations[1039],
                                   destinations[1040]};
    EXPECT_THAT(corners, ElementsAre(kT1 * 512, kT2 * 512, kDac * 512 + 15, 0));
    EXPECT_EQ(mManager->PositionOf(*mAdcIns), 2048U);
    EXPECT_EQ(mBoard.TableInUse(1024, 1024).front(), kDac * 512) << "the silent table has its destinations";
    mT1->SetSampleRate(audio::FrequencyScaler::X2, SampleRates::SR48k);
    EXPECT_EQ(mT1->CurrentRoute(*mT2)[511], EndpointWord(kT1, 511));
    EXPECT_EQ(mT1->CurrentRoute(*mDacIns).size(), 16U);
}

TEST_F(AudioDma, ResetGoesPastTheSyncThreadAndLosesNoLaterRequest) {
    Start();
    RouteSlot0(1);
    ASSERT_TRUE(RunUntil(mIo, [&] { return HeardInSlot(0) == EndpointWord(kT1, 1); }) && Settle());
    mBoard.SetSyncMode(sim::SyncMode::Hold);
    const auto writes = WritesOf(mBoard, [&] { mManager->ResetFsi(); });
    ASSERT_EQ(writes.size(), 2050U);
    EXPECT_EQ(writes[1], "0003 W 0x20 0x00000000");
    EXPECT_EQ(writes.back(), "0003 W 0x38 0x00000020");
    EXPECT_EQ(mFsi->Synced(), std::vector<std::uint32_t>(2048, 0));
    RouteSlot0(5);
    mBoard.ReleaseSync();
    ASSERT_TRUE(RunUntil(mIo, [&] { return !HeardInSlot(0).has_value(); }))
        << "the idle table has no destinations";
    mBoard.SetSyncMode(sim::SyncMode::Auto);
    ASSERT_TRUE(RunUntil(mIo, [&] { return HeardInSlot(0) == EndpointWord(kT1, 5); }));
    ASSERT_TRUE(Settle());
    mBoard.SetSyncMode(sim::SyncMode::Hold);
    RouteSlot0(6);
    ASSERT_TRUE(RunUntil(mIo, [&] { return mFsi->IsSyncing(); }));
    mManager->ResetFsi();
    mBoard.SetSyncMode(sim::SyncMode::Auto);
    EXPECT_TRUE(RunUntil(mIo, [&] { return !HeardInSlot(0).has_value(); }))
        << "a reset in a change-over asks for one more";
}

TEST_F(AudioDma, AcknowledgingByHandLeavesTheHandshakeWaiting) {
    Start();
    const auto writes = WritesOf(mBoard, [&] {
        mBoard.SetSyncMode(sim::SyncMode::Hold);
        RouteSlot0(1);
        ASSERT_TRUE(RunUntil(mIo, [&] { return mFsi->IsSyncing(); }));
        mFsi->ClearSync();
        RouteSlot0(2);
        ASSERT_TRUE(Settle());
        mBoard.SetSyncMode(sim::SyncMode::Auto);
        ASSERT_TRUE(RunUntil(mIo, [&] { return HeardInSlot(0) == EndpointWord(kT1, 2); }));
        ASSERT_TRUE(Settle());
    });
    std::string control;
    for (const std::string& write : writes) {
        control += write.rfind("0003 W 0x38 ", 0) == 0 ? write.substr(20) + " " : "";
    }
    EXPECT_EQ(control, "20 00 00 20 00 ") << "request, two clears, request, clear";
}

TEST_F(AudioDma, PlacesARouteInOrderOrBySample) {
    Start();
    mT1->SetRouteText("9,8,3,2", *mDacIns, audio::FrequencyScaler::X1, SampleRates::SR48k);
    const auto slots = [&](const std::vector<unsigned>& wanted) {
        std::vector<int> samples;
        for (const unsigned slot : wanted) {
            const std::uint16_t word = mManager->Sources()[1024 + slot];
            samples.push_back(word == 0 ? -1 : static_cast<int>(audio::SampleOf(word)));
        }
        return samples;
    };
    using Mode = AudioDmaManager::RouteMode;
    mManager->ApplyRoute(*mT1, *mDacIns, {});
    EXPECT_THAT(slots({0, 1, 2, 3, 4}), ElementsAre(9, 8, 3, 2, -1));
    mManager->ClearSources();
    mManager->ApplyRoute(*mT1, *mDacIns, {Mode::Kind::InOrder, 14, 1});
    EXPECT_THAT(slots({13, 14, 15}), ElementsAre(-1, 8, 3)) << "only the room behind the offset";
    mManager->ClearSources();
    mManager->ApplyRoute(*mT1, *mDacIns, {Mode::Kind::BySample, 0, 0});
    EXPECT_THAT(slots({2, 3, 8, 9, 10}), ElementsAre(2, 3, 8, 9, -1));
    mManager->ApplyRoute(*mT1, *mDacIns, {Mode::Kind::InOrder, 0, 99});
    mManager->ApplyRoute(*mT1, *mDacIns, {Mode::Kind::InOrder, 16, 0});
    mManager->ApplyRoute(*mT1, *mAdcIns, {});
    EXPECT_EQ(mLog.Count("isn't in the transaction table"), 2U);
}

TEST_F(AudioDma, IgnoresWordsThatAreNotInTheTable) {
    Start();
    mManager->SetSources(
        {EndpointWord(0, 0), EndpointWord(kDac, 15), EndpointWord(kDac, 16), EndpointWord(7, 511)},
        {100, 101, 102, 103});
    EXPECT_EQ(mManager->SetAudioRoute(200, EndpointWord(kDac, 3)), 1027 * sizeof(std::uint16_t));
    EXPECT_EQ(mManager->SetAudioRoute(201, EndpointWord(6, 0)), 2048 * sizeof(std::uint16_t));
    EXPECT_EQ(mManager->Sources()[1039], 101);
    EXPECT_EQ(mManager->Sources()[1027], 200);
    EXPECT_EQ(std::count(mManager->Sources().begin(), mManager->Sources().end(), 0), 2046);
    EXPECT_EQ(mLog.Count("isn't in the transaction table"), 4U);
}

TEST_F(AudioDma, LeavesOutWhatHasNoPlaceInTheTable) {
    const auto outOfRange = std::make_shared<audio::T2FsiLink>(8U, 1U);
    const auto another = std::make_shared<audio::T2FsiLink>(5U, 1U);
    const auto tooMuch = std::make_shared<audio::T2FsiLink>(6U, 1U);
    mManager->SetEndpoints({mT1, outOfRange, mT2, another, mDacIns, tooMuch});
    EXPECT_EQ(mManager->PositionOf(*mDacIns), 1536U);
    EXPECT_EQ(mManager->SinkEndpoints().size(), 4U);
    EXPECT_EQ(mLog.Count("FAULT"), 2U);
    EXPECT_EQ(mManager->PositionOf(*outOfRange), 2048U);
}
