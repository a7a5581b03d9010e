#include "SimOptions.h"

#include <gmock/gmock.h>

#include "LineText.h"

using testing::ElementsAre;
using testing::FieldsAre;

namespace {

sim::SimOptions Parse(std::vector<const char*> words) {
    words.insert(words.begin(), "bin/brindlet-sim");
    words.push_back(nullptr);
    return sim::ParseSimOptions(static_cast<int>(words.size()) - 1, const_cast<char**>(words.data()));
}

}  // namespace

TEST(SimOptions, AreTakenInBothFormsUpToTheDashes) {
    const sim::SimOptions options = Parse(
        {"--root",    "/tmp/r",     "--trace=a=b", "--dip=0xff", "--firmware", "4294967295", "--dc-reading",
         "0",         "--adc-id=7", "--dac-id",    "0",          "--without",  "000c",       "--without=0003",
         "--syncing", "--bench",    ":0",          "--",         "--dip",      "--",         "-l"});
    EXPECT_EQ(options.mRoot + " " + options.mTrace, "/tmp/r a=b");
    EXPECT_THAT(options.mBoard,
                FieldsAre(255U, 0xFFFFFFFFU, 0U, 7U, 0U, ElementsAre("000c", "0003"), true, testing::_));
    EXPECT_THAT(options.mBench, FieldsAre("127.0.0.1", 0));
    EXPECT_EQ(options.mApplication.back(), nullptr);
    const std::vector<std::string> application(options.mApplication.begin(), options.mApplication.end() - 1);
    EXPECT_THAT(application, ElementsAre("bin/brindlet-sim", "--dip", "--", "-l"));
    EXPECT_THAT(Parse({"--bench", "0.0.0.0"}).mBench, FieldsAre("0.0.0.0", 55560));
}

TEST(SimOptions, GetOneClearLineWhereTheyAreWrong) {
    const struct {
        std::vector<const char*> mWords;
        const char* mReason;
    } rows[] = {
        {{"--nosuch"}, "unknown option '--nosuch'; --help lists the options"},
        {{"--dip=1", "a\nb"}, "unexpected argument 'a\\x0ab'; application options go behind --"},
        {{"--dip", "--", "1"}, "option --dip needs a value: --dip N"},
        {{"--syncing=1"}, "option --syncing takes no value"},
        {{"--dip", "1", "--dip=2"}, "option --dip is given twice"},
        {{"--dip", "4294967297"}, "option --dip: value '4294967297' isn't a number from 0 to 255"},
        {{"--without", "0005"}, "option --without: the board has no node '0005'"},
        {{"--link0", "up 0x5002"}, "option --link0: up needs HID and PORT"},
        {{"--bench", "localhost"}, "option --bench: 'localhost' isn't an IPv4 address"},
        {{"--bench", "127.0.0.1:"}, "option --bench: port '' isn't a number from 0 to 65535"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT([&] { Parse(row.mWords); }, testing::ThrowsMessage<sim::BadText>(row.mReason));
    }
}
