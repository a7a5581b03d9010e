#include "Site.h"

#include <stdexcept>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

const RouterSeat kSeats[] = {{0, 0x5000, 2}, {1, 0x5000, 2}};

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

/// The value of a key in the one line of JSON.
std::string Field(const std::string& json, const std::string& key) {
    const std::size_t at = json.find("\"" + key + "\":");
    return at == std::string::npos ? "" : json.substr(at, json.find_first_of(",}", at) - at);
}

}  // namespace

Site::Site(std::uint32_t seed)
    : mBox({"--link0", kSeats[0].Up(3), "--link1", kSeats[1].Up(2)}),
      mLog(mBox.App().OutputPath(), mBox.File("/var/log/T2.log")),
      mSenders{{{kSeats[0], seed}, {kSeats[1], seed + 1}}} {
    // Of the debug features: streams, commands, commands in full, supplies.
    for (const char* feature : {"60", "178", "179", "180"}) {
        while (!Contains(Toggle(feature), "enabled")) {
        }
    }
}

std::string Site::Toggle(const std::string& feature) {
    std::string reply = mBox.Shell().Ask("db " + feature);
    mBox.Shell().ReadLine();
    return reply;
}

bool Site::Await(const std::function<bool()>& holds) {
    constexpr auto kLookAgain = std::chrono::milliseconds(5);
    const auto deadline = Clock::now() + kPatience;
    while (!holds()) {
        if (Clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(kLookAgain);
    }
    return true;
}

void Site::AwaitRest() {
    constexpr auto kNoticed = std::chrono::milliseconds(1500);
    std::string last;
    auto since = Clock::now();
    const bool rests = Await([&] {
        const std::string now = Look();
        if (now.empty() || now != last) {
            last = now;
            since = Clock::now();
        }
        return Clock::now() - since > kNoticed;
    });
    if (!rests) {
        throw std::runtime_error("the site doesn't come to rest: " + mBox.Shell().Ask("t2avail") + ", " +
                                 mBox.Shell().Ask("t2act") + ", routers: " + mSenders[0].Ask("state") + ", " +
                                 mSenders[1].Ask("state"));
    }
}

/// What has to stay as it is; empty while it isn't as it should be.
std::string Site::Look() {
    if (!Contains(mBox.Shell().Ask("t2avail"), "T2 Pri Link,  T2 Sec Link")) {
        return {};
    }
    std::string look = mBox.Shell().Ask("t2act");
    if (Contains(look, "No active")) {
        // Both have given the box up.
        mSenders[0].Ask("claim");
        return {};
    }
    for (Sender& sender : mSenders) {
        const std::string state = sender.Ask("state");
        if (Field(state, "connected") != "\"connected\":true") {
            return {};
        }
        look += Field(state, "connections");
    }
    return look;
}

void Site::Fence(unsigned link) {
    const unsigned long number = ++mFences;
    const std::string reply = mSenders[link].Ask("gain " + std::to_string(BoxLog::kFencePort + link) + " " +
                                                 std::to_string(number));
    if (reply != "ok" || !Await([&] { return Seen().mFence[link] == number; })) {
        throw std::runtime_error("what the router of link " + std::to_string(link) +
                                 " sends doesn't come through: " + reply);
    }
}

std::string Site::Connections(unsigned link) {
    return Field(mSenders[link].Ask("state"), "connections");
}

bool Site::IsReportedWhole() {
    return Field(mSenders[0].Ask("state"), "status") == "\"status\":4294967295" &&
           Field(mSenders[1].Ask("state"), "status") == "\"status\":4294967295";
}
