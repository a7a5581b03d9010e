#pragma once

#include <gmock/gmock.h>

#include <boost/asio/io_service.hpp>
#include <memory>
#include <string>
#include <vector>

#include "AudioDmaManager.h"
#include "Board.h"
#include "BrindletManager.h"
#include "CapturedLog.h"
#include "EventLoop.h"
#include "RegisterAccesses.h"
#include "TalvoRouterComms.h"
#include "TransactionWord.h"

/// A controller on a virtual board.
class Controller : public testing::Test {
  protected:
    using BrindletManager = TalvoBrindlet::BrindletManager;

    ~Controller() override { EXPECT_THAT(mBoard.Violations(), testing::IsEmpty()); }

    /// Without routers: as far as the controller is before it takes their side.
    void StartAlone() {
        mManager = std::make_shared<BrindletManager>(mIo, mBoard, mFolder.Path());
        mManager->Initialise();
    }

    void Start() {
        StartAlone();
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

    /// The source's sample for each of the sink's at X2 and the rate, -1 where silent, to the last that
    /// isn't.
    std::vector<int> RouteOf(const char* source, const char* sink, SampleRates::SystemSampleRates rate) {
        const auto endpoint = mManager->DmaManager()->Find(source);
        endpoint->SetSampleRate(audio::FrequencyScaler::X2, rate);
        std::vector<int> samples;
        for (const std::uint16_t word : endpoint->CurrentRoute(*mManager->DmaManager()->Find(sink))) {
            samples.push_back(word == 0 ? -1 : static_cast<int>(audio::SampleOf(word)));
        }
        while (!samples.empty() && samples.back() == -1) {
            samples.pop_back();
        }
        return samples;
    }

    ScopedFolder mFolder;
    CapturedLog mLog;
    sim::Board mBoard{sim::BoardSettings{}};
    boost::asio::io_service mIo;
    std::shared_ptr<BrindletManager> mManager;
    std::shared_ptr<TalvoRouterComms> mComms;
};
