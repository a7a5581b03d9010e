#include <gmock/gmock.h>
#include <poll.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <stdexcept>

#include "Bytes.h"
#include "SiteTest.h"
#include "VirtualBox.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

// The sanitizers keep what has been freed, so as to see who still uses it.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsInstrumented = true;
#else
constexpr bool kIsInstrumented = false;
#endif

/// For what takes moments, on a machine that does much else.
constexpr auto kPatience = 60s;

const RouterSeat kPrimary{0, 0x5000, 2};
const RouterSeat kSecondary{1, 0x5000, 2};

std::string HeaderOf(std::uint32_t length) {
    std::string header = BytesOf("7b030028");
    for (int shift = 0; shift < 32; shift += 8) {
        header += static_cast<char>(length >> shift);
    }
    return HexOf(header);
}

/// A box with both links up, and its two routers.
class RouterLinks : public SiteTest {
  protected:
    void SetUp() override {
        SiteTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        mBox = std::make_unique<VirtualBox>(
            std::vector<std::string>{"--link0", kPrimary.Up(3), "--link1", kSecondary.Up(2)});
    }

  public:
    /// Asks again and again until `text` stands in the answer; gives the last answer.
    template <class Ask>
    static std::string Await(const Ask& ask, const std::string& text, Clock::duration patience = kPatience) {
        const auto deadline = Clock::now() + patience;
        std::string answer = ask();
        while (answer.find(text) == std::string::npos && Clock::now() < deadline) {
            poll(nullptr, 0, 5);
            answer = ask();
        }
        return answer;
    }

    std::string AwaitActive(const std::string& name, Clock::duration patience = kPatience) {
        return Await([this] { return mBox->Shell().Ask("t2act"); }, "Active Talvo link - " + name, patience);
    }

    std::string AwaitAvailable(const std::string& names) {
        return Await([this] { return mBox->Shell().Ask("t2avail") + "$"; },
                     "Available Talvo links - " + names + "$");
    }

    /// Throws where the site doesn't come up: nothing that follows would mean anything.
    void StartRouters() {
        mRouters[0] = std::make_unique<VirtualRouter>(kPrimary);
        mRouters[1] = std::make_unique<VirtualRouter>(kSecondary);
        Need(AwaitAvailable("T2 Pri Link,  T2 Sec Link"), "Pri Link,  T2 Sec");
        for (const unsigned link : {0U, 1U}) {
            Need(AwaitConnected(link), "true");
            const std::string box = R"("box":{"hid":1,"type":2,"status":4294967295})";
            Need(Await([&] { return State(link); }, box), box);
        }
        Need(AwaitActive("T2 Pri Link"), "T2 Pri Link");
    }

    static void Need(const std::string& answer, const std::string& text) {
        if (answer.find(text) == std::string::npos) {
            throw std::runtime_error("the site doesn't come up: " + answer);
        }
    }

    std::string State(unsigned link) { return mRouters[link]->Ask("state"); }
    std::string AwaitConnected(unsigned link) {
        return Await([&] { return State(link); }, "\"connected\":true");
    }

    /// How many commands with `text` a router has received.
    std::size_t Received(unsigned link, const std::string& text) {
        const std::string state = State(link);
        std::size_t count = 0;
        for (std::size_t at = state.find(text); at != std::string::npos; at = state.find(text, at + 1)) {
            ++count;
        }
        return count;
    }

    /// What the router remembers to have received, which is no more than the last hundred commands.
    std::string Memory(unsigned link) {
        const std::string state = State(link);
        return state.substr(state.find("\"received\""));
    }

    /// Whether a question of the router is answered. Not for a router whose memory is full of such answers.
    bool Serves(unsigned link) {
        const std::string before = Memory(link);
        const auto isAnswered = [&] {
            const std::string now = Memory(link);
            const std::size_t last = now.rfind("{\"name\"");
            return now != before && last != std::string::npos &&
                   now.find("\"IO_INFO\"", last) != std::string::npos;
        };
        const auto deadline = Clock::now() + kPatience;
        while (mRouters[link]->Ask("info") != "ok") {
            if (Clock::now() > deadline) {
                return false;
            }
            poll(nullptr, 0, 5);
        }
        while (!isAnswered()) {
            if (Clock::now() > deadline) {
                return false;
            }
            poll(nullptr, 0, 5);
        }
        return true;
    }

    std::unique_ptr<VirtualBox> mBox;
    std::unique_ptr<VirtualRouter> mRouters[2];
};

}  // namespace

TEST_F(RouterLinks, GoToTheRouterThatClaimsSwapsFailsOrRemains) {
    StartRouters();
    // The primary's stream has made it active. Of the commands that a router gets: the comms object and the
    // controller each tell it that its link is active.
    EXPECT_EQ(Received(0, R"({"name":"IO_ACTIVE_AUDIO","hid":1,"port":0})"), 2U);
    EXPECT_EQ(mRouters[1]->Ask("claim"), "ok");
    ASSERT_TRUE(Serves(1));
    EXPECT_THAT(AwaitActive("T2 Pri Link"), EndsWith("T2 Pri Link")) << "claimed already";
    EXPECT_THAT(State(1), HasSubstr(R"({"name":"IO_INFO","hid":1,"flags":0,"text1":"KX4093",)"
                                    R"("text2":"","text3":"","text4":"","text5":""})"));

    EXPECT_EQ(mRouters[1]->Ask("swap"), "ok");
    EXPECT_THAT(AwaitActive("T2 Sec Link"), EndsWith("T2 Sec Link"));
    ASSERT_TRUE(Serves(1));
    EXPECT_EQ(Received(1, "IO_ACTIVE_AUDIO"), 1U) << "the controller's own";
    EXPECT_THAT(State(1),
                HasSubstr(R"({"name":"IO_SAMPLE_CAPABILITIES","hid":1,"current_rate":0,"rates":[0,1,2,3]})"));

    EXPECT_EQ(mRouters[1]->Ask("fail"), "ok");
    EXPECT_THAT(AwaitActive("T2 Pri Link"), EndsWith("T2 Pri Link"));
    mRouters[0]->Kill();
    EXPECT_THAT(AwaitActive("No active"), HasSubstr("No active")) << "the other one has failed before";
    EXPECT_EQ(mRouters[1]->Ask("claim"), "ok");
    EXPECT_THAT(AwaitActive("T2 Sec Link"), EndsWith("T2 Sec Link"));
    EXPECT_THAT(AwaitAvailable("T2 Sec Link"), HasSubstr("- T2 Sec Link"));
}

TEST_F(RouterLinks, FailOverWhenTheActiveRouterDies) {
    StartRouters();
    for (const unsigned active : {0U, 1U, 0U}) {
        const std::string other = active == 0 ? "T2 Sec Link" : "T2 Pri Link";
        mRouters[active]->Kill();
        const auto killed = Clock::now();
        EXPECT_THAT(AwaitActive(other), EndsWith(other));
        EXPECT_LT(Clock::now() - killed, 3s) << "a second, on an idle machine";
        mRouters[active] = std::make_unique<VirtualRouter>(active == 0 ? kPrimary : kSecondary);
        ASSERT_THAT(AwaitAvailable("T2 Pri Link,  T2 Sec Link"), HasSubstr("Sec"));
        ASSERT_TRUE(Serves(active));
    }
}

TEST_F(RouterLinks, GiveThePrimaryItsGraceBeforeTheSecondaryIsTaken) {
    mRouters[1] = std::make_unique<VirtualRouter>(kSecondary);
    ASSERT_THAT(AwaitConnected(1), HasSubstr("true"));
    const auto connected = Clock::now();
    EXPECT_THAT(AwaitActive("T2 Sec Link"), EndsWith("T2 Sec Link"));
    EXPECT_GT(Clock::now() - connected, 4s);
}

TEST_F(RouterLinks, StayInStepWhateverARouterSends) {
    StartRouters();
    const struct {
        const char* mName;
        std::vector<std::string> mRequests;
        bool mEndsStream;
    } rows[] = {
        {"datagrams of other sizes", {"datagram 00", "datagram 000102030405060708090a0b0c"}, false},
        {"another kind of message",
         {"raw 00000030030000001122"
          "33"},
         false},
        {"an unknown command",
         {"raw ffff0328"
          "04000000"
          "00112233"},
         false},
        {"a value that is too short", {"raw 7b03002802000000ffff"}, false},
        {"a value that is too long", {"raw 7b03002806000000ffffffffabcd"}, false},
        {"the longest message of the ring",
         {"raw " + HeaderOf(241648) + std::string(std::size_t{2} * 241648, '0')},
         false},
        {"a longer one", {"raw " + HeaderOf(241649) + std::string(std::size_t{2} * 241649, '0')}, false},
        {"half a message, and the end", {"raw 7b030028040000", "disconnect", "connect"}, false},
        {"gigabytes announced", {"raw 7b030028ffffffff"}, true},
        {"noise", {"raw " + HexOf("GET / HTTP/1.1\r\n\r\n and much more of the like")}, true},
    };
    for (const auto& row : rows) {
        const std::string before = State(0);
        for (const std::string& request : row.mRequests) {
            EXPECT_EQ(mRouters[0]->Ask(request), "ok") << row.mName;
        }
        EXPECT_TRUE(Serves(1)) << row.mName;
        if (row.mEndsStream) {
            EXPECT_THAT(Await([&] { return State(0); }, "\"connected\":false"), HasSubstr("false"))
                << row.mName;
        }
        EXPECT_TRUE(Serves(0)) << row.mName;
        EXPECT_THAT(mBox->Shell().Ask("t2avail"), EndsWith("T2 Pri Link,  T2 Sec Link")) << row.mName;
    }
}

TEST_F(RouterLinks, ServeTheOtherRouterWhileOneReadsNothing) {
    StartRouters();
    EXPECT_EQ(mRouters[0]->Ask("read off"), "ok");
    // Each question has an answer of 39 bytes, and one of 36 on the active link: megabytes that nobody reads.
    std::string questions;
    for (int i = 0; i < 50000; ++i) {
        questions += "2003002800000000";
    }
    EXPECT_EQ(mRouters[0]->Ask("raw " + questions), "ok");
    EXPECT_TRUE(Serves(1));
    EXPECT_THAT(mBox->Shell().Ask("t2avail"), EndsWith("T2 Pri Link,  T2 Sec Link")) << "it is heard";
    EXPECT_EQ(mRouters[0]->Ask("read on"), "ok");
    // The answers to the flood fill all that the router remembers; this one is no answer to it.
    const auto swapBack = [this] {
        mRouters[1]->Ask("swap");
        AwaitActive("T2 Sec Link", 1s);
        mRouters[0]->Ask("swap");
        AwaitActive("T2 Pri Link", 1s);
        return State(0);
    };
    EXPECT_THAT(Await(swapBack, "IO_ACTIVE_AUDIO"), HasSubstr("IO_ACTIVE_AUDIO"));
}

TEST_F(RouterLinks, TellTheRoutersOfTheSupplies) {
    StartRouters();
    const auto hears = [this](unsigned link, const std::string& status) {
        const std::string box = R"("box":{"hid":1,"type":2,"status":)" + status + "}";
        return Await([&] { return State(link); }, box).find(box) != std::string::npos;
    };
    EXPECT_EQ(mBox->Bench().Ask("psu protection fault"), "ok");
    EXPECT_TRUE(hears(0, "4294965247"));
    EXPECT_TRUE(hears(1, "4294965247"));
    EXPECT_EQ(mBox->Bench().Ask("psu line fault"), "ok");
    EXPECT_TRUE(hears(0, "4294961151"));
    EXPECT_EQ(mBox->Bench().Ask("psu protection ok"), "ok");
    EXPECT_EQ(mBox->Bench().Ask("psu line ok"), "ok");
    EXPECT_TRUE(hears(1, "4294967295"));
}

TEST_F(RouterLinks, ComeBackAfterTheyHaveFlapped) {
    StartRouters();
    LineClient& bench = mBox->Bench();
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(bench.Ask("link 0 down"), "ok");
        poll(nullptr, 0, 150);
        EXPECT_EQ(bench.Ask("link 0 " + kPrimary.Up(3)), "ok");
        poll(nullptr, 0, 150);
    }
    EXPECT_THAT(AwaitActive("T2 Sec Link"), EndsWith("T2 Sec Link"));
    EXPECT_TRUE(Serves(1));
    ASSERT_THAT(AwaitAvailable("T2 Pri Link,  T2 Sec Link"), HasSubstr("Pri"));
    EXPECT_TRUE(Serves(0));
}

TEST_F(RouterLinks, NoticeASilentCutAndItsEnd) {
    StartRouters();
    VirtualSite::CutSilently(0);
    EXPECT_THAT(AwaitActive("T2 Sec Link"), EndsWith("T2 Sec Link"));
    EXPECT_THAT(AwaitAvailable("T2 Sec Link"), HasSubstr("- T2 Sec"));
    VirtualSite::RestoreSilently(0);
    ASSERT_THAT(AwaitAvailable("T2 Pri Link,  T2 Sec Link"), HasSubstr("Pri"));
    EXPECT_TRUE(Serves(0));
}

TEST_F(RouterLinks, LeakNothingInAThousandReconnections) {
    StartRouters();
    const auto reconnect = [this](int times) {
        for (int i = 0; i < times; ++i) {
            ASSERT_EQ(mRouters[0]->Ask("disconnect"), "ok");
            ASSERT_EQ(mRouters[0]->Ask("connect"), "ok");
            ASSERT_THAT(AwaitConnected(0), HasSubstr("true"));
        }
        ASSERT_TRUE(Serves(0));
    };
    reconnect(100);
    const auto before = mBox->App().Usage();
    reconnect(1000);
    // The last of the old streams may still be on their way out.
    Await([&] { return mBox->App().Usage().mDescriptors <= before.mDescriptors ? "flat" : ""; }, "flat");
    const auto after = mBox->App().Usage();
    EXPECT_LE(after.mDescriptors, before.mDescriptors);
    if (!kIsInstrumented) {
        EXPECT_LE(after.mResidentKib, before.mResidentKib + 4096);
    }
}

TEST_F(RouterLinks, PassOverReportsThatAreNone) {
    StartRouters();
    LineClient& bench = mBox->Bench();
    const std::string outOfRange =
        "1c000000100000000000000000000000"
        "01010000"
        "0800010002000000";
    const std::string down =
        "24000000100000000000000000000000"
        "01010000"
        "0800010000000000"
        "08000200ffffffff";
    for (const std::string& datagram : {std::string("00"), outOfRange, down.substr(0, 60),
                                        std::string("14000000020000000000000000000000edffffff")}) {
        EXPECT_EQ(bench.Ask("netlink " + datagram), "ok");
    }
    EXPECT_THAT(mBox->Shell().Ask("t2avail"), EndsWith("T2 Pri Link,  T2 Sec Link"));
    EXPECT_EQ(bench.Ask("netlink " + outOfRange + down), "ok");
    EXPECT_THAT(AwaitAvailable("T2 Sec Link"), HasSubstr("- T2 Sec")) << "several in one";
    EXPECT_THAT(mBox->LogText(), HasSubstr("Ignoring report of unknown T2link 2"));
}

TEST_F(RouterLinks, LetTheBoxStopInAnyOfTheirStates) {
    const struct {
        const char* mName;
        std::function<void(RouterLinks&)> mPrepare;
    } rows[] = {
        {"nobody there",
         [](RouterLinks&) {
         }},
        {"both serving",
         [](RouterLinks& test) {
             test.StartRouters();
         }},
        {"one stalled with answers on their way",
         [](RouterLinks& test) {
             test.StartRouters();
             test.mRouters[0]->Ask("read off");
             std::string questions;
             for (int i = 0; i < 50000; ++i) {
                 questions += "2003002800000000";
             }
             test.mRouters[0]->Ask("raw " + questions);
         }},
        {"one just gone",
         [](RouterLinks& test) {
             test.StartRouters();
             test.mRouters[1]->Kill();
             VirtualSite::CutSilently(0);
         }},
    };
    for (const auto& row : rows) {
        row.mPrepare(*this);
        const auto begin = Clock::now();
        mBox->App().Signal(SIGTERM);
        EXPECT_EQ(mBox->App().WaitForEnd(), 0) << row.mName;
        EXPECT_LT(Clock::now() - begin, 3s) << row.mName;
        for (auto& router : mRouters) {
            router.reset();
        }
        mBox->Restart();
    }
}

TEST_F(RouterLinks, CanBePretendedAndSeenAsTheyAreAgain) {
    const struct {
        const char* mLine;
        const char* mReply;
    } rows[] = {
        {"set_t2 t3", "Invalid option: use \"t1\", \"t2\" or \"none\""},
        {"set_t2 none", "Talvo link unchanged"},
        {"set_t2 t1", "Changed link state to t1"},
        {"t2avail", "Available Talvo links - T2 Pri Link,  T2 Sec Link"},
        {"t2act", "Active Talvo link - T2 Pri Link"},
        {"set_t2 t1", "Talvo link unchanged"},
        {"set_t2 t2", "Changed link state to t2"},
        {"t2act", "Active Talvo link - T2 Sec Link"},
        {"rst_t2", "Synchronised data with router comms framework"},
        {"t2avail", "Available Talvo links - No Talvo links"},
        {"t2act", "Active Talvo link - No active Talvo link"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(mBox->Shell().Ask(row.mLine), row.mReply);
    }
}
