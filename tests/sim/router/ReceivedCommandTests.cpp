#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "Bytes.h"
#include "CommandJson.h"
#include "LineText.h"
#include "MessageReader.h"

namespace {

const struct {
    const char* mName;
    const char* mHex;
    const char* mJson;
} kMessages[] = {
    {"texts escaped",
     "21030028 21000000 ffffffff 80 04000000 410a22c3 00000000 00000000 00000000 04000000 5c7e7f20",
     R"({"name":"IO_INFO","hid":4294967295,"flags":128,"text1":"A\u000a\u0022\u00c3","text2":"","text3":"",)"
     R"("text4":"","text5":"\u005c~\u007f "})"},
    {"rates as an array", "6a030028 14000000 01000000 03000000 02000000 03000000 07000000",
     R"({"name":"IO_SAMPLE_CAPABILITIES","hid":1,"current_rate":3,"rates":[3,7]})"},
    {"entries as objects",
     "2f030028 22000000 00000000 ffffffff 0000 ffffffff 0000 02000000"
     " 0700 01000000 02 0000 feffffff ff",
     R"({"name":"IO_SET_PORT_BITMAP","hid":0,"first":4294967295,"first_port":0,"second":4294967295,)"
     R"("second_port":0,"entries":[{"audio_port":0,"src_hid":4294967294,"route":255},)"
     R"({"audio_port":7,"src_hid":1,"route":2}]})"},
    {"signed values", "22030028 13000000 01000000 0200 9cffffff 00 01 fbff 0000 1801 29",
     R"({"name":"IO_SET_INPUT_PARAMS","hid":1,"port":2,"gain":-100,"reserved":0,"phantom_power":1,)"
     R"("operating_level":-5,"impedance":0,"mic_headroom":280,"enables":41})"},
    {"a value cut short", "27030028 02000000 7856", R"({"name":"IO_ACTIVE_AUDIO","hid":0,"port":0})"},
    {"a value too long", "7b030028 06000000 01000000 aabb", R"({"name":"IO_SYNC_SWAP","hid":1})"},
    {"an unknown command", "e7030028 03000000 010203", R"({"name":"UNKNOWN","id":999,"length":3})"},
    {"a message of another kind", "27030020 01000000 00", R"({"name":"UNKNOWN","id":807,"length":1})"},
};

}  // namespace

TEST(ReceivedCommand, IsToldAsOneLineOfJson) {
    for (const auto& row : kMessages) {
        EXPECT_EQ(sim::CommandJson(BytesOf(row.mHex)), row.mJson) << row.mName;
    }
}

TEST(ReceivedCommand, IsPutTogetherWhereverTheStreamIsSplitUpToTheGreatestLength) {
    std::vector<std::string> messages;
    const auto take = [&messages](sim::MessageReader& reader, const std::string& bytes) {
        reader.Take(bytes.data(), bytes.size(),
                    [&messages](const std::string& message) { messages.push_back(message); });
    };
    std::string stream;
    std::vector<std::string> whole;
    for (const auto& row : kMessages) {
        whole.push_back(BytesOf(row.mHex));
        stream += whole.back();
    }
    for (std::size_t piece = 1; piece <= stream.size(); ++piece) {
        messages.clear();
        sim::MessageReader reader;
        for (std::size_t at = 0; at < stream.size(); at += piece) {
            take(reader, stream.substr(at, piece));
        }
        EXPECT_EQ(messages, whole) << "in pieces of " << piece;
    }
    messages.clear();
    sim::MessageReader reader;
    EXPECT_THAT([&] { take(reader, BytesOf("26030028 00000000 26030028 01000001")); },
                testing::ThrowsMessage<sim::BadText>("a message of 16777217 bytes"));
    EXPECT_EQ(messages.size(), 1U) << "the message before it counts";
    sim::MessageReader largest;
    EXPECT_NO_THROW(take(largest, BytesOf("26030028 00000001")));
}
