#include "CardOnABoard.h"
#include "DeskCommands.h"
#include "T2PortBitmapProcessor.h"
#include "T2RouterChangeProcessor.h"

using testing::ElementsAre;
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

    std::shared_ptr<OutputPort> Port(std::size_t index) const { return mCard->OutputPorts()[index]; }
};

std::string TwiceOf(const std::string& ports) {
    return ports + ports;
}

}  // namespace

TEST_F(OutputRouting, GainsHaveSixCodesAndOneRegister) {
    const std::pair<std::int32_t, const char*> rows[] = {{0, "0"},   {-40, "1"},  {-60, "2"},
                                                         {-80, "3"}, {-100, "4"}, {-130, "5"}};
    for (const auto& [gain, code] : rows) {
        EXPECT_THAT(WritesOf(mBoard, [&, decibels = gain] { EXPECT_TRUE(Port(1)->SetGain(decibels)); }),
                    ElementsAre("0008 W 0x24 0x000a0004", std::string("0008 W 0x20 0x0000000") + code));
    }
    ASSERT_TRUE(Port(0)->SetGain(-40) && Port(1)->SetGain(-130));
    for (const std::int32_t refused : {-50, 40, -131, 65536}) {
        EXPECT_THAT(WritesOf(mBoard, [&] { EXPECT_FALSE(Port(1)->SetGain(refused)); }), ElementsAre());
    }
    EXPECT_EQ(Port(0)->GetGain(), -40) << "what it was last told, whatever the others were";
    EXPECT_EQ(Port(1)->GetGain(), -130);
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
    EXPECT_EQ(decisions(0) + decisions(1) + decisions(2) + decisions(255), "-211-212--------");
    std::vector<std::uint16_t> keys;
    for (const int port : {-32768, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 32767}) {
        keys.push_back(T2PortBitmapProcessor::OutputPortToAudioPort(static_cast<std::int16_t>(port)));
    }
    EXPECT_THAT(keys, ElementsAre(0xFFFF, 0xFFFF, 7, 6, 5, 4, 2, 3, 0, 1, 0xFFFF, 0xFFFF));
}

TEST_F(OutputRouting, BitmapsMoveThePortsThatTheyNameAndNoOther) {
    ApplyBitmap({{7, 0}, {6, 1}, {5, 2}, {0, 0}, {1, 1}, {9, 0}, {0xFFFF, 0}}, true, true);
    EXPECT_EQ(Playing(), TwiceOf("12....12"));
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
