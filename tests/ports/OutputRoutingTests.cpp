#include "CardOnABoard.h"
#include "DeskCommands.h"
#include "T2OutputMuteProcessor.h"
#include "T2PortBitmapProcessor.h"
#include "T2RouterChangeProcessor.h"

using testing::ElementsAre;
using testing::IsSupersetOf;
using namespace TalvoBrindlet;

namespace {

constexpr auto kX2 = audio::FrequencyScaler::X2;
constexpr auto k48 = SampleRates::SR48k;
constexpr std::pair<bool, bool> kLinkStates[] = {{false, false}, {false, true}, {true, false}, {true, true}};
constexpr const char* kRebuilt = "output port usage";

class OutputRouting : public CardOnABoard {
  protected:
    void Rebuild() { T2OutputAdmaConfigProcessor(mManager, mT1, mT2, kX2, k48).Apply(*mCard); }

    /// The entries are audio port and route.
    void ApplyBitmap(const std::vector<std::pair<std::uint16_t, std::uint8_t>>& entries, bool primaryUp,
                     bool secondaryUp) {
        PortBitmapCmd command;
        for (const auto& [audioPort, route] : entries) {
            command.mEntries[audioPort] = {0x1234, route};
        }
        T2PortBitmapProcessor(mManager, mT1, mT2, primaryUp, secondaryUp, command, kX2, k48).Apply(*mCard);
    }

    void Mute(std::uint16_t port, bool muted) {
        IoOutputMuteCmd command;
        command.mPort = port;
        command.mMute = muted ? 1 : 0;
        T2OutputMuteProcessor(mManager, mT1, mT2, kX2, k48, command).Apply(*mCard);
    }

    std::shared_ptr<OutputPort> Port(std::size_t index) const { return mCard->OutputPorts()[index]; }
};

std::string TwiceOf(const std::string& ports) {
    return ports + ports;
}

}  // namespace

TEST_F(OutputRouting, GainsHaveSixCodesAndOneRegister) {
    const struct {
        std::int32_t mGain;
        const char* mCode;
    } rows[] = {{0, "0"}, {-40, "1"}, {-60, "2"}, {-80, "3"}, {-100, "4"}, {-130, "5"}};
    for (const auto& row : rows) {
        EXPECT_THAT(WritesOf(mBoard, [&] { EXPECT_TRUE(Port(1)->SetGain(row.mGain)); }),
                    ElementsAre("0008 W 0x24 0x000a0004", std::string("0008 W 0x20 0x0000000") + row.mCode));
    }
    ASSERT_TRUE(Port(0)->SetGain(-40) && Port(1)->SetGain(-130));
    for (const std::int32_t refused : {-50, 40, -131, 65536}) {
        EXPECT_THAT(WritesOf(mBoard, [&] { EXPECT_FALSE(Port(1)->SetGain(refused)); }), ElementsAre());
    }
    EXPECT_EQ(Port(0)->GetGain(), -40) << "what it was last told, whatever the others were";
    EXPECT_EQ(Port(1)->GetGain(), -130);
    EXPECT_EQ(mLog.Count("Brindlet: failed to set gain of -50 for output port 1 \n"), 1U);
    EXPECT_EQ(mLog.Count("Brindlet: Set gain for output port 0 to -40\n"), 1U);
    EXPECT_FALSE(Port(0)->SetMute(true)) << "though it worked";
    EXPECT_TRUE(Port(0)->GetMute());
}

TEST_F(OutputRouting, PlaysTheRouteOfEachPortsLinkAtTheLinksRate) {
    const struct {
        const char* mName;
        const char* mUsages;
        std::vector<std::size_t> mMutes;
        SampleRates::SystemSampleRates mRate;
        const char* mPlaying;
    } rows[] = {
        {"no link", "........", {}, k48, "........"},
        {"one link", "11111111", {}, k48, "11111111"},
        {"mixed", "12.21.12", {}, k48, "12.21.12"},
        {"mixed at 96 kHz", "12.21.12", {}, SampleRates::SR96k, "AB.BA.AB"},
        {"no route at the rate", "12.21.12", {}, SampleRates::SR44_1k, "........"},
        {"mutes win, and count twice", "11.22222", {0, 2, 7}, k48, ".1.2222."},
    };
    for (const auto& row : rows) {
        SetLinkRate(row.mRate);
        SetUsages(row.mUsages);
        for (const std::size_t port : row.mMutes) {
            Port(port)->SetMute(true);
        }
        Rebuild();
        EXPECT_EQ(Playing(), TwiceOf(row.mPlaying)) << row.mName;
    }
    EXPECT_EQ(mLog.Lines().back(), "Brindlet:  output port usage - Primary 2, Secondary 5, Output Mutes 3\n");
    EXPECT_EQ(mLog.Count("Brindlet: transaction 10 for output port 2 muted\n"), 1U);
    EXPECT_EQ(mLog.Count("Brindlet: transaction 2 for to Talvo output port 2 set to silence  as link is "
                         "disconnected\n"),
              4U)
        << "not where it is muted, nor on a link without a route";
}

TEST_F(OutputRouting, ReleasesTheConvertersAtTheFirstRebuildOnly) {
    ASSERT_TRUE(mCard->IsInReset());
    EXPECT_THAT(AddressesOf([this] { Rebuild(); }),
                ElementsAre(testing::StartsWith("0003"), "0007 0x00090008", "0008 0x000a000c"));
    EXPECT_FALSE(mCard->IsInReset());
    EXPECT_THAT(AddressesOf([this] { Rebuild(); }), ElementsAre(testing::StartsWith("0003")));
}

TEST_F(OutputRouting, BitmapsPreferALinkThatADeadOneOverrides) {
    const auto decisions = [](std::uint8_t route) {
        std::string text;
        for (const auto& [primaryUp, secondaryUp] : kLinkStates) {
            const auto usage = T2PortBitmapProcessor::UsageFor(route, primaryUp, secondaryUp);
            text += usage == PortUsage::PrimaryLink ? '1' : usage == PortUsage::SecondaryLink ? '2' : '-';
        }
        return text;
    };
    EXPECT_EQ(decisions(0), "-211");
    EXPECT_EQ(decisions(1), "-212");
    EXPECT_EQ(decisions(2), "----");
    EXPECT_EQ(decisions(255), "----");
    std::vector<std::uint16_t> keys;
    for (const int port : {-32768, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 32767}) {
        keys.push_back(T2PortBitmapProcessor::OutputPortToAudioPort(static_cast<std::int16_t>(port)));
    }
    EXPECT_THAT(keys, ElementsAre(0xFFFF, 0xFFFF, 7, 6, 5, 4, 2, 3, 0, 1, 0xFFFF, 0xFFFF));
}

TEST_F(OutputRouting, BitmapsMoveThePortsThatTheyNameAndNoOther) {
    ApplyBitmap({{7, 0}, {6, 1}, {5, 2}, {0, 0}, {1, 1}, {9, 0}, {0xFFFF, 0}}, true, true);
    EXPECT_EQ(Playing(), TwiceOf("12....12"));
    EXPECT_THAT(mLog.Lines(), IsSupersetOf({"Brindlet: Processing Port Bitmap:\n",
                                            "\tEntry=0\tAudio port=0\tSrc hid=0x00001234\t+Route=0\n",
                                            "\tEntry=6\tAudio port=65535\tSrc hid=0x00001234\t+Route=0\n"}));
    ApplyBitmap({{2, 0}, {7, 0}}, false, true);
    EXPECT_EQ(Playing(), TwiceOf("22..2.12"));
    ApplyBitmap({{2, 1}, {6, 0}, {3, 0}}, true, false);
    EXPECT_EQ(Playing(), TwiceOf("21..1112"));
    ApplyBitmap({{7, 0}, {2, 1}}, false, false);
    EXPECT_EQ(Playing(), TwiceOf("21..1112"));
    ApplyBitmap({}, true, true);
    EXPECT_EQ(Playing(), TwiceOf("21..1112"));
    EXPECT_EQ(mLog.Count(kRebuilt), 5U) << "whether it changes anything or not";
}

TEST_F(OutputRouting, LinkChangesPinAllPortsToTheActiveLinkWhereItIsLeftAlone) {
    std::string rebuilt;
    for (std::uint32_t active = 0; active < 3; ++active) {
        for (const auto& [primaryUp, secondaryUp] : kLinkStates) {
            T2RouterChangeProcessor processor(mManager, mT1, mT2, kX2, k48);
            SetUsages("1122.1.2");
            rebuilt += processor.ApplyLinkChange(*mCard, active, primaryUp, secondaryUp) ? Playing()[4] : '-';
        }
        rebuilt += ' ';
    }
    EXPECT_EQ(rebuilt, "--1- -2-- ---- ");
    EXPECT_EQ(mLog.Count(kRebuilt), 2U);
    EXPECT_EQ(mLog.Count("Received notification of a Talvo Link up before the Talvo Active Router event\n"),
              3U);
}

TEST_F(OutputRouting, RouterChangesMoveAllPortsAndMutesOne) {
    SetUsages("1122.1.2");
    const std::pair<std::uint32_t, const char*> rows[] = {
        {3, "1122.1.2"}, {2, "........"}, {1, "22222222"}, {0, "11111111"}};
    for (const auto& [active, playing] : rows) {
        EXPECT_TRUE(T2RouterChangeProcessor(mManager, mT1, mT2, kX2, k48).ApplyRouterChange(*mCard, active));
        EXPECT_EQ(Playing(), TwiceOf(playing)) << active;
    }
    Mute(3, true);
    Mute(4, true);
    Mute(8, true);
    EXPECT_EQ(Playing(), TwiceOf("111..111"));
    Mute(3, false);
    EXPECT_EQ(Playing(), TwiceOf("1111.111"));
}
