#include "TalvoPortManager.h"

#include <functional>

#include "BrindletStatusManager.h"
#include "CardOnABoard.h"
#include "DeskCommands.h"
#include "ExternalClockManager.h"
#include "ExternalReferenceFsi.h"

using testing::ElementsAre;
using namespace TalvoBrindlet;

namespace {

constexpr auto kX2 = audio::FrequencyScaler::X2;
constexpr const char* kRebuilt = "output port usage";

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
    /// The lines that are logged meanwhile.
    template <class Body>
    std::vector<std::string> LinesOf(const Body& body) {
        const auto before = static_cast<std::ptrdiff_t>(mLog.Lines().size());
        body();
        const auto lines = mLog.Lines();
        return {lines.begin() + before, lines.end()};
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
    std::vector<std::string> sources;
    std::int32_t previous = 2;
    for (const std::int32_t active : {1, 0, 2, 0}) {
        mOwner.mActive = active;
        mPorts->HandleActiveRouterChange(previous);
        for (const std::string& line : LinesOf([this] { RunPosted(); })) {
            sources.push_back(line.substr(0, line.find('\r')));
        }
        previous = active;
    }
    const std::string set = "SetExternalPllSource ";
    EXPECT_THAT(sources, ElementsAre(set + "2", set + "0", set + "1", set + "0", set + "1"));
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
    EXPECT_EQ(mLog.Count("Brindlet: T2 command to set input impedance for port 1 to 0\n"), 2U);
    EXPECT_EQ(mCard->InputPorts()[1]->GetDigitalGain(), 50);
    auto far = Input(1, 0x01);
    far->mGain = 0x10000 - 7;
    mPorts->HandleSetInputParams(far, 0);
    EXPECT_EQ(mCard->InputPorts()[1]->GetDigitalGain(), -7) << "cut to 16 bits";
}

TEST_F(PortManager, TellsOfTheClockThatIsLocked) {
    ASSERT_TRUE(mBoard.Measure(1, 1152000));
    mReference->HandleInterrupts();
    mBoard.SetPllLocked(true);
    ASSERT_TRUE(mBoard.Measure(1, 1152000));
    EXPECT_THAT(
        LinesOf([this] { mReference->HandleInterrupts(); }),
        ElementsAre("Brindlet: clock source has changed to ID 1\n",
                    "Selected clock Id 1 [stable/locked], T2 port 0 is stable, T2 port 1 isunstable\n"));
    mPorts.reset();
    EXPECT_TRUE(mClocks->ClockLocked().empty());
}

TEST_F(PortManager, FollowsLinksAndRouters) {
    enum Event { Links, Router };
    const std::string configuring =
        "Brindlet: configuring Port Manager for Talvo 2 operation at sample rate 48kHz with Talvo ";
    const std::string status = "Brindlet: Talvo link status change: T2 Pri = ";
    const struct {
        const char* mName;
        Event mEvent;
        std::int32_t mPrevious;
        std::int32_t mActive;
        bool mPrimaryUp;
        bool mSecondaryUp;
        std::string mPlaying;  ///< from "11221122"
        const char* mClocks;   ///< of links 1 and 2, from '+' for the one that was active
        std::string mLine;
    } rows[] = {
        {"standby lost", Links, 0, 0, true, false, "11111111", "+-", "Primary Talvo link was active. "},
        {"other standby", Links, 1, 1, false, true, "22222222", "-+", "Secondary Talvo link was active. "},
        {"active lost", Links, 0, 0, false, true, "11221122", "+-",
         "INFO the Adma config was not updated after "},
        {"both lost", Links, 0, 0, false, false, "11221122", "+-", "both Talvo Links down before "},
        {"standby back", Links, 0, 0, true, true, "11221122", "+-",
         status + "up, T2 Sec = up, Active Talvo port = Talvo Pri Port active \n"},
        {"before a router", Links, 2, 2, true, false, "11221122", "--",
         "INFO Adma config was not updated for the Talvo Link status change due to no active Talvo links\n"},
        {"to secondary", Router, 0, 1, true, true, "22222222", "-+", configuring + "Sec Link\n"},
        {"to primary", Router, 1, 0, true, true, "11111111", "+-", configuring + "Pri Link\n"},
        {"from none", Router, 2, 0, true, false, "11111111", "+-",
         "Brindlet: handling active router change from NO active Talvo Ports, to Talvo Pri Port active\n"},
        {"to none", Router, 1, 2, false, false, "........", "--",
         "Brindlet: cleared DAC ADMA and disabled ext clock refs due to no Active Talvo Port\n"},
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
        const auto lines = LinesOf([&] {
            row.mEvent == Links ? mPorts->HandleLinkStatusChange()
                                : mPorts->HandleActiveRouterChange(row.mPrevious);
        });
        EXPECT_THAT(lines, testing::Contains(testing::HasSubstr(row.mLine)));
        const int rebuilds = row.mPlaying == "11221122" ? 0 : 1;
        EXPECT_THAT(lines, testing::Contains(testing::HasSubstr(kRebuilt)).Times(rebuilds));
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
    const std::string to = "Brindlet: ERROR - trying to ";
    const struct {
        std::function<void()> mCall;
        std::vector<std::string> mLines;
    } rows[] = {
        {[&] { Make(); }, {}},
        {[&] { mPorts->HandleSetInputParams(Input(3, 0x25), 0); },
         {"Brindlet: received a set input params msg for input port 3 , phantom power On, input gain 50, "
          "Enables 37\n",
          to + "handle a Talvo 2 input params msg for input port 3 when operating in AoIP mode\n"}},
        {[&] { mPorts->HandleSetOutputGain(OutputGain(0, 0), 0); },
         {to + "process a Talvo 2 set output gain command when operating in AoIP mode\n"}},
        {[&] { mPorts->HandlePortBitmap(std::make_shared<PortBitmapCmd>(), 0); },
         {to + "process a Talvo 2 output bitmap when operating in AoIP mode\n"}},
        {[&] { mPorts->HandleOutputMute(Mute(2, 1), 0); },
         {"Brindlet: ERROR- trying to handle the Talvo 2 output mute for output port 2 when in AoIP "
          "operating mode\n"}},
        {[&] { mPorts->HandleActiveRouterChange(2); },
         {to + "configure Talvo 2 adma routing when in operating AoIP mode\n"}},
        {[&] { mPorts->HandleLinkStatusChange(); },
         {to + "handle a change in the Talvo 2 link status when operating in AoIP mode\n"}},
        {[&] { mPorts->HandleSampleRate(SampleRates::SR96k); },
         {to + "process a Talvo 2 set sample rate command when in AoIP operating mode\n"}},
        {[&] { EXPECT_TRUE(mPorts->GetIoCardInfo().empty()); },
         {to + "get Talvo 2 Card Info when operating in AoIP mode\n"}},
    };
    EXPECT_THAT(AddressesOf([&] {
                    for (const auto& row : rows) {
                        EXPECT_EQ(LinesOf(row.mCall), row.mLines);
                    }
                }),
                ElementsAre());
}

TEST_F(PortManager, ReportsPortsThatAreNotThere) {
    EXPECT_THAT(AddressesOf([&] {
                    mPorts->HandleSetInputParams(Input(8, 0x25), 0);
                    mPorts->HandleSetOutputGain(OutputGain(8, 0), 0);
                    mPorts->HandleSetOutputGain(OutputGain(3, -50), 0);
                }),
                ElementsAre());
    const std::string error = "Brindlet: ERROR - ";
    EXPECT_EQ(mLog.Count(error + "no Talvo Input port found for Talvo port ID 8\n"), 1U);
    EXPECT_EQ(mLog.Count(error + "no Talvo Output port found for Talvo port ID 8\n"), 1U);
    EXPECT_EQ(mLog.Count(error + "Port Mgr failed to process the set output gain command for port 3\n"), 1U);
    mPorts->HandleSetOutputGain(OutputGain(3, -100), 0);
    mPorts->HandleOutputMute(Mute(3, 2), 0);
    EXPECT_EQ(mLog.Count("Brindlet: received command to set output gain to -100 cB for port 3\n "), 1U);
    for (const int id : {-32768, -1, 3, 8, 32767}) {
        const auto port = static_cast<std::int16_t>(id);
        EXPECT_EQ(mPorts->GetOutputGain(port), port == 3 ? -100 : 0) << port;
        EXPECT_EQ(mPorts->GetOutputMute(port), port == 3) << port;
    }
}

TEST_F(PortManager, SaysNothingOfACommandThatIsNotThere) {
    EXPECT_THAT(LinesOf([this] {
                    mPorts->HandleSetInputParams(nullptr, 0);
                    mPorts->HandleSetOutputGain(nullptr, 0);
                    mPorts->HandlePortBitmap(nullptr, 1);
                    mPorts->HandleOutputMute(nullptr, 0);
                }),
                ElementsAre());
    mOwner.mMode = OperatingMode::AoIP;
    EXPECT_THAT(LinesOf([this] { mPorts->HandleSetInputParams(nullptr, 0); }), ElementsAre());
    EXPECT_EQ(LinesOf([this] { mPorts->HandleOutputMute(nullptr, 0); }).size(), 1U);
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
    const std::string error = "Brindlet: ERROR - ";
    EXPECT_EQ(LinesOf([this] { Make(); }).size(), 1U) << "it says what rate it starts with";
    EXPECT_THAT(
        LinesOf([this] {
            mPorts->HandleSetOutputGain(OutputGain(0, 0), 0);
            mPorts->HandleOutputMute(Mute(0, 1), 0);
            mPorts->HandleActiveRouterChange(2);
            mPorts->HandleSampleRate(SampleRates::SR96k);
            mPorts->ConfigureLoopback(true);
        }),
        ElementsAre("Brindlet: handling active router change from NO active Talvo Ports, to NO active "
                    "Talvo Ports\n",
                    error + "no talvo IO card to handle a change in the active Talvo router port\n",
                    "Brindlet: received a Talvo 2 sample rate event for 96kHz\n",
                    error + "no Talvo 2 IO card to use the Talvo 2 sample rate\n",
                    error + "no Talvo 2 IO card to use the Talvo 2 in configuring the loopback\n"));
    EXPECT_EQ(mPorts->GetOutputGain(0), 0);
    EXPECT_TRUE(mPorts->GetIoCardInfo().empty());
    EXPECT_EQ(mPorts->GetPortReport(), "");
}
