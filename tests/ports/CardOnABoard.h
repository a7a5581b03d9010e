#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "AdcControlFsi_KX4093.h"
#include "AudioDmaManager.h"
#include "CapturedLog.h"
#include "ClocksFsi_KX4093.h"
#include "DacControlFsi_KX4093.h"
#include "EventLoop.h"
#include "IoCard_KX4093.h"
#include "RegisterAccesses.h"
#include "T2FsiLink.h"
#include "TransactionWord.h"

/// The card of a box on a board, with both links and the routing table. The links have routes to the outputs
/// at X2, 48 and 96 kHz, each with samples of its own, and none at other rates.
class CardOnABoard : public testing::Test {
  protected:
    static constexpr unsigned kAdc = 1;
    static constexpr unsigned kT2 = 2;
    static constexpr unsigned kT1 = 3;
    static constexpr unsigned kDac = 4;

    CardOnABoard() {
        mManager = std::make_shared<audio::AudioDmaManager>(&mRegistry, mAdma);
        mManager->SetEndpoints({mT1, mT2, mAdcIns, mDacIns});
        SetRoutes("0-15", "200-215", SampleRates::SR48k);
        SetRoutes("100-115", "300-315", SampleRates::SR96k);
        SetLinkRate(SampleRates::SR48k);
        mCard =
            std::make_shared<TalvoBrindlet::IoCard_KX4093>(std::int16_t{0}, std::int16_t{0}, std::int8_t{0},
                                                           mAdcControl, mDacControl, mAdcIns, mDacIns, mIo);
        mLog.Enable(Feature::TalvoIoBox);
        mLog.Enable(Feature::TalvoIoBoxVerbose);
        // The sync thread asks whenever it gets to it; until then its write could be among those of a test.
        EXPECT_TRUE(RunUntil(mIo, [this] { return SlotsHear([](unsigned) { return 0U; }); }));
    }
    ~CardOnABoard() override { EXPECT_THAT(mBoard.Violations(), testing::ElementsAre()); }

    void SetLinkRate(SampleRates::SystemSampleRates rate) {
        mT1->SetSampleRate(audio::FrequencyScaler::X2, rate);
        mT2->SetSampleRate(audio::FrequencyScaler::X2, rate);
    }

    /// What the 16 slots of the outputs are to play, once the board does play that: '1' and '2' the links'
    /// routes of 48 kHz, 'A' and 'B' those of 96 kHz, 'L' the input of the same number, '.' silence.
    std::string Playing() {
        if (!RunUntil(mIo, [this] { return SlotsHear([this](unsigned slot) { return Wanted(slot); }); })) {
            return "not what the board plays";
        }
        std::string playing;
        for (unsigned slot = 0; slot < kSlots; ++slot) {
            playing += LetterOf(Wanted(slot), slot);
        }
        EXPECT_EQ(playing.size(), kSlots);
        return playing;
    }

    /// Sets the link of each output: '1', '2', '.' for none.
    void SetUsages(const std::string& usages) {
        using Usage = TalvoBrindlet::PortUsage;
        for (std::size_t port = 0; port < usages.size(); ++port) {
            const char link = usages[port];
            mCard->OutputPorts()[port]->SetUsage(link == '1'   ? Usage::PrimaryLink
                                                 : link == '2' ? Usage::SecondaryLink
                                                               : Usage::NoLink);
        }
    }

    /// The internal addresses that `body` has written, as "0007 0x00090008"; the routing table's is its
    /// start.
    template <class Body>
    std::vector<std::string> AddressesOf(const Body& body) {
        std::vector<std::string> addresses;
        for (const std::string& write : WritesOf(mBoard, body)) {
            if (write.find(" W 0x24 ") != std::string::npos) {
                addresses.push_back(write.substr(0, 5) + write.substr(12));
            }
        }
        return addresses;
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
    std::shared_ptr<TalvoBrindlet::AdcControlFsi_KX4093> mAdcControl =
        std::make_shared<TalvoBrindlet::AdcControlFsi_KX4093>(mBoard);
    std::shared_ptr<TalvoBrindlet::DacControlFsi_KX4093> mDacControl =
        std::make_shared<TalvoBrindlet::DacControlFsi_KX4093>(mBoard);
    std::shared_ptr<audio::AudioDmaFsi> mAdma = mRegistry.Add<audio::AudioDmaFsi>("adma", mBoard);
    std::shared_ptr<audio::AudioDmaManager> mManager;
    std::shared_ptr<TalvoBrindlet::IoCard> mCard;

  private:
    static constexpr unsigned kSlots = 16;

    void SetRoutes(const char* primary, const char* secondary, SampleRates::SystemSampleRates rate) {
        mT1->SetRouteText(primary, *mDacIns, audio::FrequencyScaler::X2, rate);
        mT2->SetRouteText(secondary, *mDacIns, audio::FrequencyScaler::X2, rate);
    }

    /// Whether the board plays that in each slot, once what has ended is dealt with.
    template <class WordOfSlot>
    bool SlotsHear(const WordOfSlot& wordOf) {
        mAdma->HandleInterrupts();
        for (unsigned slot = 0; slot < kSlots; ++slot) {
            if (mBoard.Hear(audio::EndpointWord(kDac, slot)) != wordOf(slot)) {
                return false;
            }
        }
        return true;
    }

    std::uint16_t Wanted(unsigned slot) const {
        return mManager->Sources()[mManager->PositionOf(*mDacIns) + slot];
    }

    static char LetterOf(std::uint16_t word, unsigned slot) {
        const std::pair<std::uint16_t, char> rows[] = {{0, '.'},
                                                       {audio::EndpointWord(kT1, slot), '1'},
                                                       {audio::EndpointWord(kT2, 200 + slot), '2'},
                                                       {audio::EndpointWord(kT1, 100 + slot), 'A'},
                                                       {audio::EndpointWord(kT2, 300 + slot), 'B'},
                                                       {audio::EndpointWord(kAdc, slot), 'L'}};
        for (const auto& [wanted, letter] : rows) {
            if (wanted == word) {
                return letter;
            }
        }
        return '?';
    }
};
