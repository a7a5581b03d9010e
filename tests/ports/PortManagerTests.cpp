#include "TalvoPortManager.h"

#include "BrindletStatusManager.h"
#include "CardOnABoard.h"
#include "DeskCommands.h"
#include "ExternalClockManager.h"
#include "ExternalReferenceFsi.h"

using testing::ElementsAre;
using namespace TalvoBrindlet;

namespace {

constexpr auto kX2 = audio::FrequencyScaler::X2;

struct Owner : BrindletStatusManager {
    std::uint32_t GetHid() override { return 1; }
    std::uint32_t GetIoBoxStatus() const override { return 0; }
    audio::FrequencyScaler GetFrequencyScaler() const override { return mScaler; }
    SampleRates::SystemSampleRates GetSampleRate() const override { return SampleRates::SR48k; }
    OperatingMode GetOperatingMode() const override { return mMode; }
    std::int32_t GetProtocol() const override { return 1; }
    bool IsPrimaryLinkUp() const override { return mPrimaryUp; }
    bool IsSecondaryLinkUp() const override { return mSecondaryUp; }
    std::int32_t GetActiveLink() const override { return mActive; }

    audio::FrequencyScaler mScaler = kX2;
    OperatingMode mMode = OperatingMode::Talvo2;
    bool mPrimaryUp = true;
    bool mSecondaryUp = true;
    std::int32_t mActive = 2;
};

/// The ports of a card whose kinds allow neither phantom power nor a rebuilt routing.
struct PlainCard : IoCard {
    explicit PlainCard(const IoCard& card) : IoCard(0, 0, 1, 0, "plain", {0, 0, 0, 0}), mCard(card) {
        mInputPorts = card.InputPorts();
        mOutputPorts = card.OutputPorts();
    }
    std::uint16_t GetNumInputPorts() const override { return mCard.GetNumInputPorts(); }
    std::uint16_t GetNumOutputPorts() const override { return mCard.GetNumOutputPorts(); }
    Endpoint GetAdcEndpoint() const override { return mCard.GetAdcEndpoint(); }
    Endpoint GetDacEndpoint() const override { return mCard.GetDacEndpoint(); }
    bool SetSampleRate(audio::FrequencyScaler, SampleRates::SystemSampleRates) override { return true; }

    const IoCard& mCard;
};

class PortManager : public CardOnABoard {
  protected:
    PortManager() { Make(); }

    void Make() { mPorts = std::make_unique<TalvoPortManager>(&mOwner, mManager, mClocks, mT1, mT2, mCard); }

    void RunPosted() {
        mIo.restart();
        mIo.poll();
    }

    static auto Input(std::uint16_t port, std::uint8_t enables) {
        auto command = std::make_shared<IoSetInputParams>();
        command->mPort = port;
        command->mEnables = enables;
        command->mGain = 50;
        command->mPhantomPower = 1;
        command->mOperatingLevel = 280;
        command->mMicHeadroom = 280;
        return command;
    }
    static auto OutputGain(std::uint16_t port, std::int32_t gain) {
        auto command = std::make_shared<IoSetOutputGain>();
        command->mPort = port;
        command->mGain = gain;
        return command;
    }
    static auto Mute(std::uint16_t port, std::uint8_t muted) {
        auto command = std::make_shared<IoOutputMuteCmd>();
        command->mPort = port;
        command->mMute = muted;
        return command;
    }
    /// Whether the last of the 16 inputs goes to both links.
    bool AreInputsSent() const {
        return mBoard.Hear(audio::EndpointWord(kT1, 15)) == audio::EndpointWord(kAdc, 15) &&
               mBoard.Hear(audio::EndpointWord(kT2, 15)) == audio::EndpointWord(kAdc, 15);
    }

    Owner mOwner;
    std::shared_ptr<audio::ExternalReferenceFsi> mReference =
        std::make_shared<audio::ExternalReferenceFsi>(mBoard);
    std::shared_ptr<audio::ExternalClockManager> mClocks =
        std::make_shared<audio::ExternalClockManager>(mIo, mReference);
    std::unique_ptr<TalvoPortManager> mPorts;
};

}  // namespace

TEST_F(PortManager, LeavesTheOldClockBeforeItTakesTheNew) {
    mClocks->SetPriority(1, 0, false);
    mClocks->SetPriority(2, 1, false);
    for (const unsigned id : {1U, 2U}) {
        RunPosted();
        ASSERT_TRUE(mBoard.Measure(id, 1152000));
        mReference->HandleInterrupts();
    }
    std::int32_t previous = 2;
    for (const std::int32_t active : {1, 0, 2, 0}) {
        mOwner.mActive = active;
        mPorts->HandleActiveRouterChange(previous);
        RunPosted();
        previous = active;
    }
    std::string sources;
    for (const std::string& line : mLog.Lines()) {
        sources += line.rfind("SetExternalPllSource ", 0) == 0 ? line.substr(21, 1) : "";
    }
    EXPECT_EQ(sources, "20101");
    mPorts.reset();
    EXPECT_TRUE(mClocks->ClockLocked().empty());
}

TEST_F(PortManager, AppliesTheInputFieldsThatAreEnabled) {
    const std::string phantom = "0007 0x00090018";
    const std::string gain = "0007 0x00090014";
    const struct {
        std::uint8_t mEnables;
        std::vector<std::string> mAddresses;
    } rows[] = {{0x00, {}},     {0x02, {}},     {0x10, {}},     {0xC2, {}},        {0x01, {gain}},
                {0x08, {gain}}, {0x20, {gain}}, {0x29, {gain}}, {0x04, {phantom}}, {0x3F, {phantom, gain}}};
    for (const auto& row : rows) {
        EXPECT_EQ(AddressesOf([&] { mPorts->HandleSetInputParams(Input(1, row.mEnables), 1); }),
                  row.mAddresses)
            << int{row.mEnables};
    }
    EXPECT_EQ(mCard->InputPorts()[1]->GetDigitalGain(), 50);
    auto far = Input(1, 0x01);
    far->mGain = 0x10000 - 7;
    mPorts->HandleSetInputParams(far, 0);
    EXPECT_EQ(mCard->InputPorts()[1]->GetDigitalGain(), -7) << "cut to 16 bits";
}

TEST_F(PortManager, FollowsLinksAndRouters) {
    enum Event { Links, Router };
    const struct {
        const char* mName;
        Event mEvent;
        std::int32_t mPrevious;
        std::int32_t mActive;
        bool mPrimaryUp;
        bool mSecondaryUp;
        std::string mPlaying;  ///< from "11221122"
        const char* mClocks;   ///< of links 1 and 2, from '+' for the one that was active
    } rows[] = {
        {"standby lost", Links, 0, 0, true, false, "11111111", "+-"},
        {"active lost", Links, 0, 0, false, true, "11221122", "+-"},
        {"before a router", Links, 2, 2, true, false, "11221122", "--"},
        {"to secondary", Router, 0, 1, true, true, "22222222", "-+"},
        {"to primary", Router, 1, 0, true, true, "11111111", "+-"},
        {"from none", Router, 2, 0, true, false, "11111111", "+-"},
        {"to none", Router, 1, 2, false, false, "........", "--"},
        {"to an unknown one", Router, 0, 3, true, true, "11221122", "+-"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mName);
        mClocks->SetPriority(1, 0, row.mPrevious == 0);
        mClocks->SetPriority(2, 1, row.mPrevious == 1);
        SetUsages("11221122");
        mPorts->HandleOutputMute(Mute(0, 0), 0);
        mOwner.mActive = row.mActive;
        mOwner.mPrimaryUp = row.mPrimaryUp;
        mOwner.mSecondaryUp = row.mSecondaryUp;
        row.mEvent == Links ? mPorts->HandleLinkStatusChange()
                            : mPorts->HandleActiveRouterChange(row.mPrevious);
        EXPECT_EQ(Playing(), row.mPlaying + row.mPlaying);
        RunPosted();
        const auto sign = [this](unsigned id) {
            return mClocks->GetClock(id).mEnabled ? "+" : "-";
        };
        EXPECT_EQ(std::string(sign(1)) + sign(2), row.mClocks);
    }
}

TEST_F(PortManager, RefusesAllInAoIPMode) {
    mOwner.mMode = OperatingMode::AoIP;
    EXPECT_THAT(AddressesOf([&] {
                    Make();
                    mPorts->HandleSetInputParams(Input(3, 0x25), 0);
                    mPorts->HandleSetOutputGain(OutputGain(0, 0), 0);
                    mPorts->HandlePortBitmap(std::make_shared<PortBitmapCmd>(), 0);
                    mPorts->HandleOutputMute(Mute(2, 1), 0);
                    mPorts->HandleOutputMute(nullptr, 0);
                    mPorts->HandleActiveRouterChange(2);
                    mPorts->HandleLinkStatusChange();
                    mPorts->HandleSampleRate(SampleRates::SR96k);
                    EXPECT_TRUE(mPorts->GetIoCardInfo().empty());
                }),
                ElementsAre());
    EXPECT_EQ(mLog.Count("AoIP"), 9U);
}

TEST_F(PortManager, ReportsPortsThatAreNotThere) {
    EXPECT_THAT(AddressesOf([&] {
                    mPorts->HandleSetInputParams(Input(8, 0x25), 0);
                    mPorts->HandleSetInputParams(nullptr, 0);
                    mPorts->HandleSetOutputGain(OutputGain(8, 0), 0);
                    mPorts->HandleSetOutputGain(OutputGain(3, -50), 0);
                    mPorts->HandleSetOutputGain(nullptr, 0);
                    mPorts->HandlePortBitmap(nullptr, 1);
                    mPorts->HandleOutputMute(nullptr, 0);
                }),
                ElementsAre());
    const std::string error = "Brindlet: ERROR - ";
    EXPECT_EQ(mLog.Count(error + "no Talvo Input port found for Talvo port ID 8\n"), 1U);
    EXPECT_EQ(mLog.Count(error + "no Talvo Output port found for Talvo port ID 8\n"), 1U);
    EXPECT_EQ(mLog.Count(error + "Port Mgr failed to process the set output gain command for port 3\n"), 1U);
    mPorts->HandleSetOutputGain(OutputGain(3, -100), 0);
    mPorts->HandleOutputMute(Mute(3, 2), 0);
    for (const int id : {-32768, -1, 3, 8, 32767}) {
        const auto port = static_cast<std::int16_t>(id);
        EXPECT_EQ(mPorts->GetOutputGain(port), port == 3 ? -100 : 0) << port;
        EXPECT_EQ(mPorts->GetOutputMute(port), port == 3) << port;
    }
    SetUsages("11111111");
    mPorts->HandleOutputMute(Mute(4, 1), 0);
    mPorts->HandleOutputMute(Mute(8, 1), 0);
    EXPECT_EQ(Playing(), "111..111111..111");
    mPorts->HandleOutputMute(Mute(3, 0), 0);
    EXPECT_EQ(Playing(), "1111.1111111.111");
}

TEST_F(PortManager, MovesToARateWithTheConvertersInReset) {
    mOwner.mScaler = audio::FrequencyScaler::X1;
    SetUsages("1122.1.2");
    mPorts->HandleOutputMute(Mute(0, 1), 0);
    auto addresses = AddressesOf([this] { mPorts->HandleSampleRate(SampleRates::SR96k); });
    const auto isLaterDivider = [](const std::string& address) {
        return address.find(" 0x0004000") != std::string::npos && address.back() != '0';
    };
    addresses.erase(std::remove_if(addresses.begin(), addresses.end(), isLaterDivider), addresses.end());
    EXPECT_THAT(addresses, ElementsAre("0007 0x0009000c", "0008 0x000a0008",  // into reset
                                       "0007 0x00090000", "000C 0x00040000", "000D 0x00040000",
                                       "0003 0x000c0000",                       // the table
                                       "0007 0x00090008", "0008 0x000a000c",    // released by the rebuild
                                       "0007 0x00090008", "0008 0x000a000c"));  // and at the end
    EXPECT_EQ(Playing(), ".ABB.A.B.ABB.A.B") << "at X2, whatever the box reports";
    EXPECT_FALSE(AreInputsSent()) << "they have no route at 96 kHz";
    mPorts->HandleSampleRate(SampleRates::SR48k);
    EXPECT_EQ(Playing(), ".122.1.2.122.1.2");
    EXPECT_TRUE(AreInputsSent());
}

TEST_F(PortManager, PlaysTheInputsWhileLoopedBack) {
    SetUsages("11112222");
    EXPECT_EQ(mPorts->ConfigureLoopback(true), 0);
    EXPECT_EQ(Playing(), "LLLLLLLLLLLLLLLL");
    EXPECT_FALSE(AreInputsSent());
    mOwner.mScaler = audio::FrequencyScaler::X1;
    EXPECT_EQ(mPorts->ConfigureLoopback(true), 0);
    EXPECT_EQ(Playing(), "................") << "the inputs have no route at X1";
    EXPECT_EQ(mPorts->ConfigureLoopback(false), 0);
    EXPECT_EQ(Playing(), "1111222211112222");
    EXPECT_EQ(mDacIns->Scaler(), audio::FrequencyScaler::X2);
    EXPECT_TRUE(AreInputsSent());
}

TEST_F(PortManager, TellsOfTheClockThatIsLocked) {
    ASSERT_TRUE(mBoard.Measure(1, 1152000));
    mReference->HandleInterrupts();
    mBoard.SetPllLocked(true);
    ASSERT_TRUE(mBoard.Measure(1, 1152000));
    mReference->HandleInterrupts();
    EXPECT_EQ(mLog.Count("Brindlet: clock source has changed to ID 1\n"), 1U);
    EXPECT_EQ(mLog.Count("Selected clock Id 1 [stable/locked], T2 port 0 is stable, T2 port 1 isunstable\n"),
              1U);
}

TEST_F(PortManager, LeavesAloneWhatTheCardsKindsDoNotAllow) {
    const auto card = mCard;
    SetUsages("11112222");
    mPorts->HandleLinkStatusChange();
    mPorts->HandleOutputMute(Mute(0, 1), 0);
    mCard = std::make_shared<PlainCard>(*card);
    Make();
    mPorts->HandleSetInputParams(Input(0, 0x04), 0);
    EXPECT_FALSE(card->InputPorts()[0]->GetPhantomPower());
    EXPECT_EQ(mLog.Count("to set phantom power"), 0U);
    mPorts->HandleOutputMute(Mute(1, 1), 0);
    EXPECT_FALSE(card->OutputPorts()[1]->GetMute()) << "a mute is taken by the rebuild";
    EXPECT_EQ(Playing(), ".1112222.1112222");
}

TEST_F(PortManager, LivesWithoutACard) {
    mCard = nullptr;
    Make();
    mPorts->HandleSetOutputGain(OutputGain(0, 0), 0);
    mPorts->HandleOutputMute(Mute(0, 1), 0);
    mPorts->HandleActiveRouterChange(2);
    mPorts->HandleSampleRate(SampleRates::SR96k);
    mPorts->ConfigureLoopback(true);
    const std::string error = "Brindlet: ERROR - no ";
    EXPECT_EQ(mLog.Count(error), 3U);
    EXPECT_EQ(mLog.Count(error + "talvo IO card to handle a change in the active Talvo router port\n"), 1U);
    EXPECT_EQ(mLog.Count(error + "Talvo 2 IO card to use the Talvo 2 sample rate\n"), 1U);
    EXPECT_EQ(mLog.Count(error + "Talvo 2 IO card to use the Talvo 2 in configuring the loopback\n"), 1U);
    EXPECT_EQ(mPorts->GetOutputGain(0), 0);
    EXPECT_TRUE(mPorts->GetIoCardInfo().empty());
    EXPECT_EQ(mPorts->GetPortReport(), "");
}
