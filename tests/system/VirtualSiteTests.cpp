#include "VirtualSite.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <set>
#include <stdexcept>

#include "LineClient.h"
#include "SiteTest.h"
#include "Tool.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr std::uint16_t kBoxHeartbeats = 60002;
constexpr int kPatienceMs = 10000;

/// The box's end of a link, as far as heartbeats go.
class HeartbeatEar {
  public:
    explicit HeartbeatEar(const RouterSeat& seat) : mSocket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        const std::string interface = "t2link" + std::to_string(seat.mLink);
        RunTool({"ip", "address", "add", seat.BoxAddress() + "/24", "dev", interface});
        RunTool({"ip", "link", "set", interface, "up"});
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(kBoxHeartbeats);
        address.sin_addr.s_addr = inet_addr(seat.BoxAddress().c_str());
        if (bind(mSocket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            throw std::runtime_error("cannot bind " + seat.BoxAddress());
        }
    }
    ~HeartbeatEar() { close(mSocket); }
    HeartbeatEar(const HeartbeatEar&) = delete;
    HeartbeatEar& operator=(const HeartbeatEar&) = delete;

    bool Hears(int patienceMs) const {
        pollfd wanted{mSocket, POLLIN, 0};
        std::array<char, 64> datagram{};
        return poll(&wanted, 1, patienceMs) == 1 && recv(mSocket, datagram.data(), datagram.size(), 0) > 0;
    }

    void ForgetWhatCame() const {
        while (Hears(0)) {
        }
    }

  private:
    int mSocket;
};

int HeartbeatsSent(VirtualRouter& router) {
    const std::string state = router.Ask("state");
    const std::string key = "\"heartbeats_sent\":";
    return std::stoi(state.substr(state.find(key) + key.size()));
}

void AwaitTwoMore(VirtualRouter& router) {
    const int before = HeartbeatsSent(router);
    while (HeartbeatsSent(router) < before + 2) {
        poll(nullptr, 0, 10);
    }
}

/// Which of the site's programs run in this process namespace.
std::set<std::string> Running() {
    std::set<std::string> names;
    for (const auto& entry : boost::filesystem::directory_iterator("/proc")) {
        const std::string name = ContentOf((entry.path() / "comm").string());
        if (name == "brindlet-sim\n" || name == "talvo-router-si\n" || name == "socat\n" ||
            name == "unshare\n") {
            names.insert(name);
        }
    }
    return names;
}

/// scripts/site.sh with this build's programs.
class SiteScript {
  public:
    explicit SiteScript(const std::vector<std::string>& options = {})
        : mProcess(mFolder, "site", Words(options), {}) {}

    Process& Script() { return mProcess; }

  private:
    std::vector<std::string> Words(const std::vector<std::string>& options) const {
        std::vector<std::string> words{"bash", std::string(BRINDLET_SCRIPTS_DIR) + "/site.sh", "--bin",
                                       BRINDLET_BIN_DIR};
        words.insert(words.end(), options.begin(), options.end());
        words.insert(words.end(), {"--root", mFolder / "root"});
        return words;
    }

    ScopedFolder mFolder;
    Process mProcess;
};

/// A process namespace of the test's own tells what a site leaves behind.
class SiteScriptTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!WhyNoPrivateNetwork().empty()) {
            GTEST_SKIP() << WhyNoPrivateNetwork();
        }
    }
};

}  // namespace

TEST(RouterSeat, PlansBothEndsOfALink) {
    const struct {
        RouterSeat mSeat;
        const char* mBox;
        const char* mRouter;
    } rows[] = {
        {{0, 0x5002, 2}, "10.0.66.1", "10.0.66.254"},
        {{1, 0x5002, 2}, "10.0.98.2", "10.0.98.254"},
        {{1, 0x57FE, 31}, "10.255.255.2", "10.255.255.254"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.mSeat.BoxAddress(), row.mBox);
        EXPECT_EQ(row.mSeat.RouterAddress(), row.mRouter);
    }
}

TEST_F(SiteTest, CarriesARoutersHeartbeatsUnlessCut) {
    for (const unsigned link : {0U, 1U}) {
        const RouterSeat seat{link, 0x5004, 1};
        VirtualRouter router(seat);
        const HeartbeatEar ear(seat);
        const std::string interface = "t2link" + std::to_string(link);
        EXPECT_TRUE(ear.Hears(kPatienceMs));

        VirtualSite::Cut(link);
        EXPECT_THAT(RunTool({"ip", "link", "show", interface}), Not(HasSubstr("LOWER_UP")));
        VirtualSite::Restore(link);
        ear.ForgetWhatCame();
        EXPECT_TRUE(ear.Hears(kPatienceMs));

        VirtualSite::CutSilently(link);
        EXPECT_THAT(RunTool({"ip", "link", "show", interface}), HasSubstr("LOWER_UP"));
        ear.ForgetWhatCame();
        AwaitTwoMore(router);
        EXPECT_FALSE(ear.Hears(0));
        VirtualSite::RestoreSilently(link);
        EXPECT_TRUE(ear.Hears(kPatienceMs));

        router.Kill();
        EXPECT_THROW(router.Ask("state"), std::runtime_error);
    }
}

TEST_F(SiteScriptTest, ReachesBoxAndConnectedRoutersFromOutsideAndLeavesNothing) {
    for (const int signal : {SIGTERM, SIGKILL}) {
        SiteScript site({"--shell-port", "55556"});
        site.Script().WaitForOutput("routers' control ports");
        for (const std::uint16_t port : {55570, 55571}) {
            LineClient control(port);
            while (control.Ask("state").find(R"("connected":true)") == std::string::npos) {
                poll(nullptr, 0, 10);
            }
        }
        LineClient bench(55560);
        EXPECT_THAT(bench.Ask("state"), HasSubstr(R"("hid":20482,"port":2,"fsi":0,"adma":3)"));
        LineClient shell(55556);
        shell.Send("hid\n");
        shell.ReadUntil("Hid is set to 1");

        site.Script().Signal(signal);
        EXPECT_EQ(site.Script().WaitForEnd(), signal == SIGTERM ? 0 : -SIGKILL);
        // A site whose script was killed ends by itself, with all it has.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMs);
        while (signal == SIGKILL && !Running().empty() && std::chrono::steady_clock::now() < deadline) {
            poll(nullptr, 0, 10);
        }
        EXPECT_THAT(Running(), IsEmpty());
    }
}

TEST_F(SiteScriptTest, EndsWithItsCommandItsBoxOrAPortThatIsTaken) {
    const ScopedFolder folder;
    const struct {
        const char* mName;
        std::vector<std::string> mOptions;
        int mStatus;
        const char* mError;
    } rows[] = {
        {"command", {"--beside", "exit 3"}, 3, ""},
        {"box", {"--no-such-option"}, 2, "unknown option '--no-such-option'"},
        {"port", {"--bench-port", "55570"}, 1, "127.0.0.1:55570, for router 0, is taken"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mName);
        SiteScript site(row.mOptions);
        EXPECT_EQ(site.Script().WaitForEnd(), row.mStatus);
        EXPECT_THAT(site.Script().Errors(), HasSubstr(row.mError));
        EXPECT_THAT(Running(), IsEmpty());
    }
}
