#include "RouterOptions.h"

#include <gmock/gmock.h>

#include <vector>

#include "LineText.h"

using testing::Eq;
using testing::FieldsAre;
using testing::Optional;

namespace {

sim::RouterOptions Parse(std::vector<const char*> words) {
    words.insert(words.begin(), "talvo-router-sim");
    return sim::ParseRouterOptions(static_cast<int>(words.size()), words.data());
}

}  // namespace

TEST(RouterOptions, AreTakenInBothForms) {
    EXPECT_THAT(Parse({"--hid", "0xffffffff", "--local=10.0.0.254", "--box", "10.0.0.1"}),
                FieldsAre(0xFFFFFFFFU, 1U, "10.0.0.254", "10.0.0.1", false, Eq(std::nullopt), false));
    EXPECT_THAT(Parse({"--master", "--control=:7000", "--type=9", "--help"}),
                FieldsAre(0U, 9U, "", "", true, Optional(FieldsAre("127.0.0.1", 7000)), true));
}

TEST(RouterOptions, GetOneClearLineWhereTheyAreWrong) {
    const struct {
        std::vector<const char*> mWords;
        const char* mReason;
    } rows[] = {
        {{}, "option --hid is missing"},
        {{"--hid", "1", "--local", "10.0.0.2"}, "option --box is missing"},
        {{"--hid"}, "option --hid needs a value"},
        {{"--hid", "4294967296"}, "option --hid: value '4294967296' isn't a number from 0 to 4294967295"},
        {{"--hid=1", "--hid=1"}, "option --hid is given twice"},
        {{"--master=1"}, "option --master takes no value"},
        {{"stray\n"}, "unknown option 'stray\\x0a'; --help lists the options"},
        {{"--box", "0.0.0.0"}, "option --box: '0.0.0.0' isn't the address of one host"},
        {{"--local", "224.0.0.1"}, "option --local: '224.0.0.1' isn't the address of one host"},
        {{"--control", ":65536"}, "option --control: port '65536' isn't a number from 0 to 65535"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT([&] { Parse(row.mWords); }, testing::ThrowsMessage<sim::BadText>(row.mReason));
    }
}

TEST(RouterOptions, RefuseALoopbackAddressAtEitherEnd) {
    for (const std::vector<const char*>& words :
         {std::vector{"--hid=1", "--local=127.9.9.9", "--box=192.0.2.1"},
          std::vector{"--hid=1", "--local=192.0.2.254", "--box=127.9.9.9"}}) {
        EXPECT_THAT([&] { sim::JudgeAddresses(Parse(words)); },
                    testing::ThrowsMessage<sim::BadText>(testing::StartsWith("127.9.9.9 is a loopback ")));
    }
    EXPECT_NO_THROW(sim::JudgeAddresses(Parse({"--hid=1", "--local=192.0.2.254", "--box=192.0.2.1"})));
}
