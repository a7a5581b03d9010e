#include "SimOptions.h"

#include <gmock/gmock.h>

#include "BenchText.h"

using testing::ElementsAre;

namespace {

/// A command line, the program's name in front.
class CommandLineWords {
  public:
    explicit CommandLineWords(std::vector<std::string> words) : mWords(std::move(words)) {
        mWords.insert(mWords.begin(), "bin/brindlet-sim");
        for (std::string& word : mWords) {
            mPointers.push_back(word.data());
        }
        mPointers.push_back(nullptr);
    }

    sim::SimOptions Parse() {
        return sim::ParseSimOptions(static_cast<int>(mPointers.size()) - 1, mPointers.data());
    }

  private:
    std::vector<std::string> mWords;
    std::vector<char*> mPointers;
};

}  // namespace

TEST(SimOptions, HaveDefaults) {
    const sim::SimOptions options = CommandLineWords({}).Parse();
    EXPECT_EQ(options.mRoot, "brindlet-root");
    EXPECT_EQ(options.mBench.mAddress, "127.0.0.1");
    EXPECT_EQ(options.mBench.mPort, 55560);
    EXPECT_EQ(options.mTrace, "");
    EXPECT_EQ(options.mBoard.mDip, 1U);
    EXPECT_EQ(options.mBoard.mFirmware, 1234U);
    EXPECT_EQ(options.mBoard.mDcReading, 2405U);
    EXPECT_EQ(options.mBoard.mAdcId, 1U);
    EXPECT_EQ(options.mBoard.mDacId, 4U);
    EXPECT_FALSE(options.mBoard.mSyncing || options.mHelp);
}

TEST(SimOptions, AreTakenInBothForms) {
    const sim::SimOptions options =
        CommandLineWords({"--root", "/tmp/r", "--trace=a=b", "--dip=0xff", "--firmware", "4294967295",
                          "--dc-reading", "0", "--adc-id=7", "--dac-id", "0", "--without", "000c",
                          "--without=0003", "--syncing", "--bench", ":0"})
            .Parse();
    EXPECT_EQ(options.mRoot, "/tmp/r");
    EXPECT_EQ(options.mTrace, "a=b");
    EXPECT_EQ(options.mBoard.mDip, 255U);
    EXPECT_EQ(options.mBoard.mFirmware, 0xFFFFFFFFU);
    EXPECT_EQ(options.mBoard.mDcReading, 0U);
    EXPECT_EQ(options.mBoard.mAdcId, 7U);
    EXPECT_EQ(options.mBoard.mDacId, 0U);
    EXPECT_THAT(options.mBoard.mWithout, ElementsAre("000c", "0003"));
    EXPECT_TRUE(options.mBoard.mSyncing);
    EXPECT_EQ(options.mBench.mAddress, "127.0.0.1");
    EXPECT_EQ(options.mBench.mPort, 0);
}

TEST(SimOptions, LeaveWhatFollowsTheDashesToTheApplication) {
    CommandLineWords words({"--dip", "2", "--", "--dip", "--", "-l", "x"});
    const sim::SimOptions options = words.Parse();
    ASSERT_EQ(options.mApplication.size(), 6U);
    EXPECT_STREQ(options.mApplication[0], "bin/brindlet-sim");
    EXPECT_STREQ(options.mApplication[1], "--dip");
    EXPECT_STREQ(options.mApplication[2], "--");
    EXPECT_STREQ(options.mApplication[4], "x");
    EXPECT_EQ(options.mApplication[5], nullptr);
}

TEST(SimOptions, TakeABenchAddressAlone) {
    const sim::SimOptions options = CommandLineWords({"--bench", "0.0.0.0"}).Parse();
    EXPECT_EQ(options.mBench.mAddress, "0.0.0.0");
    EXPECT_EQ(options.mBench.mPort, 55560);
}

TEST(SimOptions, GetOneClearLineWhereTheyAreWrong) {
    const struct {
        std::vector<std::string> mWords;
        const char* mReason;
    } rows[] = {
        {{"--nosuch"}, "unknown option '--nosuch'; --help lists the options"},
        {{"--dip=1", "stray"}, "unexpected argument 'stray'; application options go behind --"},
        {{"--dip"}, "option --dip needs a value: --dip N"},
        {{"--dip", "--", "1"}, "option --dip needs a value: --dip N"},
        {{"--root="}, "option --root needs a value: --root DIR"},
        {{"--syncing=1"}, "option --syncing takes no value"},
        {{"--dip", "1", "--dip=2"}, "option --dip is given twice"},
        {{"--dip", "256"}, "option --dip: value '256' isn't a number from 0 to 255"},
        {{"--dip", "-1"}, "option --dip: value '-1' isn't a number from 0 to 255"},
        {{"--dip", "1x"}, "option --dip: value '1x' isn't a number from 0 to 255"},
        {{"--dip", "0x"}, "option --dip: value '0x' isn't a number from 0 to 255"},
        {{"--dip", "ff"}, "option --dip: value 'ff' isn't a number from 0 to 255"},
        {{"--firmware", "4294967296"},
         "option --firmware: value '4294967296' isn't a number from 0 to 4294967295"},
        {{"--dc-reading", "4096"}, "option --dc-reading: value '4096' isn't a number from 0 to 4095"},
        {{"--adc-id", "8"}, "option --adc-id: value '8' isn't a number from 0 to 7"},
        {{"--without", "0005"}, "option --without: the board has no node '0005'"},
        {{"--bench", "localhost"}, "option --bench: 'localhost' isn't an IPv4 address"},
        {{"--bench", ":65536"}, "option --bench: port '65536' isn't a number from 0 to 65535"},
        {{"--bench", "127.0.0.1:"}, "option --bench: port '' isn't a number from 0 to 65535"},
        {{"--bench", ":1:2"}, "option --bench: port '1:2' isn't a number from 0 to 65535"},
        {{"a\nb"}, "unexpected argument 'a\\x0ab'; application options go behind --"},
    };
    for (const auto& row : rows) {
        try {
            CommandLineWords(row.mWords).Parse();
            ADD_FAILURE() << "accepted: " << row.mWords.front();
        } catch (const sim::BadText& reason) {
            EXPECT_STREQ(reason.what(), row.mReason);
        }
    }
}

TEST(SimOptions, AreAllInTheHelp) {
    EXPECT_TRUE(CommandLineWords({"--help"}).Parse().mHelp);
    for (const char* option :
         {"--root DIR", "--bench [ip][:port]", "--trace FILE", "--dip N", "--firmware N", "--dc-reading N",
          "--adc-id N", "--dac-id N", "--without IDENTITY", "--syncing", "--help"}) {
        EXPECT_THAT(sim::SimOptionsHelp(), testing::HasSubstr("\n  " + std::string(option) + " ")) << option;
    }
}
