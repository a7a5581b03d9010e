#include "Chaos.h"

#include <chrono>
#include <stdexcept>

using std::chrono::milliseconds;

struct LinkChaos::Fault {
    void (*mBegin)(LinkChaos&);
    void (*mEnd)(LinkChaos&);
};

LinkChaos::LinkChaos(Sender& victim, std::uint16_t benchPort, std::uint32_t seed)
    : mVictim(victim),
      mLink(victim.Seat().mLink),
      mBench(benchPort),
      mRandom(seed),
      mWorker([this](Worker& worker) { Step(worker); }) {}

void LinkChaos::Step(Worker& worker) {
    static constexpr Fault kFaults[] = {
        {[](LinkChaos& chaos) { VirtualSite::Cut(chaos.mLink); },
         [](LinkChaos& chaos) {
             VirtualSite::Restore(chaos.mLink);
         }},
        {[](LinkChaos& chaos) { VirtualSite::CutSilently(chaos.mLink); },
         [](LinkChaos& chaos) {
             VirtualSite::RestoreSilently(chaos.mLink);
         }},
        {[](LinkChaos& chaos) { chaos.Report("down"); },
         [](LinkChaos& chaos) {
             chaos.Report(chaos.mVictim.Seat().Up(3 - chaos.mLink));
         }},
        {[](LinkChaos& chaos) { chaos.mVictim.Restart(); },
         [](LinkChaos&) {
         }},
        {[](LinkChaos& chaos) { chaos.Request("disconnect"); },
         [](LinkChaos& chaos) {
             chaos.Request("connect");
         }},
        {[](LinkChaos& chaos) { chaos.Request("heartbeat off"); },
         [](LinkChaos& chaos) {
             chaos.Request("heartbeat on");
         }},
        {[](LinkChaos& chaos) { chaos.Request("read off"); },
         [](LinkChaos& chaos) {
             chaos.Request("read on");
         }},
        {[](LinkChaos& chaos) { chaos.Request("fail"); },
         [](LinkChaos& chaos) {
             chaos.Request("claim");
         }},
    };
    // A cut of less than a second may pass unnoticed, a longer one may not.
    constexpr unsigned kLongestMs = 2500;
    constexpr unsigned kLongestPauseMs = 800;
    if (mRandom() % 2 == 0) {
        Request("swap");
    }
    const Fault& fault = kFaults[mRandom() % std::size(kFaults)];
    fault.mBegin(*this);
    worker.Rest(milliseconds(mRandom() % kLongestMs));
    fault.mEnd(*this);
    worker.Rest(milliseconds(mRandom() % kLongestPauseMs));
}

void LinkChaos::Request(const std::string& request) {
    const std::string reply = mVictim.Ask(request);
    if (reply != "ok" && reply != "error not connected") {
        throw std::runtime_error("'" + request + "' is answered with '" + reply + "'");
    }
}

void LinkChaos::Report(const std::string& state) {
    const std::string reply = mBench.Ask("link " + std::to_string(mLink) + " " + state);
    if (reply != "ok") {
        throw std::runtime_error("the link driver can't report: " + reply);
    }
}

SupplyChaos::SupplyChaos(std::uint16_t benchPort, std::uint32_t seed)
    : mBench(benchPort), mRandom(seed), mWorker([this](Worker& worker) {
          static constexpr const char* kRequests[] = {
              "psu line fault", "psu line ok",      "psu protection fault", "psu protection ok",
              "psu reading 0",  "psu reading 1000", "psu reading 2405",     "psu reading 4095",
          };
          constexpr unsigned kLongestMs = 600;
          Ask(kRequests[mRandom() % std::size(kRequests)]);
          worker.Rest(milliseconds(mRandom() % kLongestMs));
      }) {}

void SupplyChaos::Stop() {
    mWorker.Stop();
    for (const char* request : {"psu line ok", "psu protection ok", "psu reading 2405"}) {
        Ask(request);
    }
}

void SupplyChaos::Ask(const std::string& request) {
    const std::string reply = mBench.Ask(request);
    if (reply != "ok") {
        throw std::runtime_error("'" + request + "' is answered with '" + reply + "'");
    }
}

ShellCrowd::ShellCrowd(std::uint16_t shellPort, std::uint32_t seed)
    : mPort(shellPort), mRandom(seed), mWorker([this](Worker& worker) { Step(worker); }) {}

void ShellCrowd::Stop() {
    mWorker.Stop();
    mReaders.clear();
    mSilent.clear();
}

void ShellCrowd::Step(Worker& worker) {
    constexpr std::size_t kMostReaders = 4;
    constexpr std::size_t kMostSilent = 3;
    constexpr unsigned kChances = 20;
    constexpr unsigned kSilentStay = 8;
    constexpr auto kPause = milliseconds(50);
    for (const auto& reader : mReaders) {
        while (!reader->ReceiveAvailable().empty()) {
        }
    }
    switch (mRandom() % kChances) {
        case 0:
            Come(mReaders, kMostReaders);
            break;
        case 1:
            Come(mSilent, kMostSilent);
            break;
        case 2:
            Go(mReaders);
            break;
        case 3:
            // They are to stay until the box has had enough of most of them.
            if (mRandom() % kSilentStay == 0) {
                Go(mSilent);
            }
            break;
        case 4:
        case 5:
            AskSomething();
            break;
        case 6:
            BreakOff();
            break;
        default:
            break;
    }
    worker.Rest(kPause);
}

void ShellCrowd::Come(Clients& clients, std::size_t most) {
    if (clients.size() < most) {
        clients.push_back(std::make_unique<LineClient>(mPort));
    }
}

void ShellCrowd::Go(Clients& clients) {
    if (clients.empty()) {
        return;
    }
    if (mRandom() % 2 == 0) {
        clients.front()->Reset();
    }
    clients.erase(clients.begin());
}

void ShellCrowd::AskSomething() {
    static constexpr const char* kQuestions[] = {"help",         "t2act",      "t2avail",
                                                 "adma/status",  "adma/links", "adma/transactions 0 2047",
                                                 "clock/status", "nonsense"};
    LineClient client(mPort);
    client.Send("tail false\n");
    client.ReadUntil("false\n");
    client.Send(std::string(kQuestions[mRandom() % std::size(kQuestions)]) + "\nhid\n");
    client.ReadUntil("Hid is set to");
}

void ShellCrowd::BreakOff() const {
    LineClient client(mPort);
    client.Send("adma/tran");
    client.Reset();
}
