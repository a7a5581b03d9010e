// The whole site under load, for as long as one likes: storms, in which both routers send commands while all
// goes wrong on one of the links, and calm between them, in which every command is to be in force.

#include <unistd.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <thread>

#include "BoxLog.h"
#include "Chaos.h"
#include "PrivateNetwork.h"
#include "Sender.h"
#include "Site.h"
#include "Worker.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int kSkipped = 77;
constexpr double kMostMinutes = 10000;
constexpr auto kStorm = 10s;
constexpr auto kCalm = 3s;
constexpr auto kReportEvery = 30s;

/// After so long without a turn on the processor a router's heartbeats may be missed through no fault of the
/// box.
constexpr auto kHeldUp = 500ms;

/// What the box may hold more at the end than after the warm-up, with no client on its shell at either time.
/// Of descriptors it is to hold none more.
constexpr long kMoreResidentKib = 4096;

/// So much of the time belongs to the warm-up, at most.
constexpr int kWarmUpPart = 4;

/// The word of an input's gain at the reference level: the bits of the analogue step, and the trim as a
/// factor.
unsigned long GainWord(int gainCb) {
    constexpr int kStepCb = 65;
    constexpr int kMostSteps = 8;
    const int steps = std::min(gainCb / kStepCb, kMostSteps);
    const double factor = std::pow(10.0, (gainCb - steps * kStepCb) / 200.0);
    return static_cast<unsigned long>(std::lround(65536 * factor)) >> 4 << 8 | ((1UL << steps) - 1);
}

/// What the board is to hear in a slot of the outputs, at 48 kHz.
std::string SoundOf(unsigned slot, const Sender::Wanted& port) {
    constexpr int kSamples[] = {7, 6, -1, -1, 5, 4, -1, -1, 2, 3, -1, -1, 0, 1, -1, -1};
    constexpr unsigned kAdma[] = {3, 2};
    if (port.mMuted || kSamples[slot] < 0) {
        return "ok silence";
    }
    return "ok " + std::to_string(kAdma[port.mLink]) + " " + std::to_string(kSamples[slot]);
}

class Soak {
  public:
    Soak(double minutes, std::uint32_t seed)
        : mLength(std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(minutes * 60))),
          mRandom(seed),
          mSite(seed) {}

    /// Whether all held.
    bool Run() {
        Worker reporter([this](Worker& worker) {
            if (worker.Rest(kReportEvery)) {
                Report();
            }
        });
        mSite.AwaitRest();
        Calm();
        do {
            LetCrowdIn();
            Storm(mRandom() % 2);
            Calm();
            // At least one storm follows.
            if (mWarm.mDescriptors == 0 && Clock::now() - mBegin > mLength / kWarmUpPart) {
                mWarm = Measure();
            }
        } while (mCrowd == nullptr || Clock::now() - mBegin < mLength - kStorm - kCalm);
        JudgeHoldings();
        reporter.Stop();
        JudgeEnd();
        std::printf("%s: %u storms, %u faults found\n", mFailures == 0 ? "all held" : "FAILED", mStorms,
                    mFailures);
        return mFailures == 0;
    }

  private:
    /// All goes wrong on one link, and nothing may be lost on the other one.
    void Storm(unsigned victim) {
        ++mStorms;
        Sender& healthy = mSite.SenderOf(1 - victim);
        const unsigned long refused = healthy.Refused();
        mSite.TakeLongestPause();
        const std::string connections = mSite.Connections(1 - victim);
        SupplyChaos supplies(mSite.Box().BenchPort(), mRandom());
        LinkChaos chaos(mSite.SenderOf(victim), mSite.Box().BenchPort(), mRandom());
        SendMix(kStorm, [&chaos] { chaos.Stop(); });
        supplies.Stop();
        mSite.AwaitRest();
        mSite.Fence(1 - victim);
        const auto pause = mSite.TakeLongestPause();
        if (healthy.Refused() == refused && mSite.Connections(1 - victim) == connections) {
            ++mJudged;
            ExpectNothingLost(1 - victim);
        } else if (pause >= kHeldUp) {
            std::printf("storm %u isn't judged: the machine stood still for %ld ms\n", mStorms,
                        static_cast<long>(pause.count()));
        } else {
            Expect(false, "link " + std::to_string(1 - victim) +
                              " was left alone and lost its stream. The links lately:\n" +
                              mSite.LinkEvents());
        }
        mSite.Fence(victim);
    }

    /// Nothing goes wrong on the links, and all that is sent is to be in force.
    void Calm() {
        for (const unsigned link : {0U, 1U}) {
            TakeStock(link);
            mSite.SenderOf(link).SetAll();
        }
        SendMix(kCalm, [] {});
        for (const unsigned link : {0U, 1U}) {
            mSite.Fence(link);
            ExpectNothingLost(link);
        }
        CheckRoutesAndPhantom();
        CheckGains();
        Expect(Site::Await([this] { return mSite.IsReportedWhole(); }),
               "the supplies are back, but the routers aren't told so");
        for (const unsigned link : {0U, 1U}) {
            TakeStock(link);
        }
    }

    /// Both send for that time; `atEnd` is called while they still do.
    template <class AtEnd>
    void SendMix(Clock::duration time, const AtEnd& atEnd) {
        mSite.SenderOf(0).Start();
        mSite.SenderOf(1).Start();
        std::this_thread::sleep_for(time);
        atEnd();
        mSite.SenderOf(0).Stop();
        mSite.SenderOf(1).Stop();
    }

    void TakeStock(unsigned link) {
        mSentBefore[link] = mSite.SenderOf(link).Sent();
        mCarriedOutBefore[link] = mSite.Seen().mCommands[link];
    }

    void ExpectNothingLost(unsigned link) {
        const unsigned long sent = mSite.SenderOf(link).Sent() - mSentBefore[link];
        const unsigned long carriedOut = mSite.Seen().mCommands[link] - mCarriedOutBefore[link];
        Expect(sent == carriedOut, "link " + std::to_string(link) + " was sent " + std::to_string(sent) +
                                       " commands and carried out " + std::to_string(carriedOut));
    }

    void CheckRoutesAndPhantom() {
        constexpr unsigned kSlots = 16;
        Expect(AskBench("wait"), "ok", "the box comes to rest");
        std::string phantom;
        for (unsigned slot = 0; slot < kSlots; ++slot) {
            const unsigned port = slot % BoxLog::kPorts;
            Expect(AskBench("hear 4 " + std::to_string(slot)), SoundOf(slot, Wanted(port)),
                   "slot " + std::to_string(slot));
            if (slot < BoxLog::kPorts) {
                phantom += Wanted(port).mPhantom ? ",true" : ",false";
            }
        }
        ExpectInState("\"phantom\":[" + phantom.substr(1) + "]");
    }

    /// One more gain for each port, for of those that came while another was under way not every one counts.
    void CheckGains() {
        constexpr unsigned kInputGains = 585;
        constexpr int kOutputGains[] = {0, -40, -60, -80, -100, -130};
        std::string words;
        for (unsigned port = 0; port < BoxLog::kPorts; ++port) {
            const auto gain = static_cast<int>(mRandom() % kInputGains);
            SetGain(port, gain);
            words += "," + std::to_string(GainWord(gain));
        }
        const unsigned code = mRandom() % std::size(kOutputGains);
        const unsigned port = mRandom() % BoxLog::kPorts;
        OwnerOf(port).Send("outgain " + std::to_string(port) + " " + std::to_string(kOutputGains[code]));
        mSite.Fence(OwnerOf(port).Seat().mLink);
        ExpectInState("\"gain\":[" + words.substr(1) + "]");
        ExpectInState("\"gain_code\":" + std::to_string(code));
    }

    /// Until it isn't refused for another one that is under way.
    void SetGain(unsigned port, int gain) {
        const auto& refused = mSite.Seen().mRefusedGains[port];
        unsigned before = 0;
        const bool taken = Site::Await([&] {
            before = refused;
            OwnerOf(port).Send("gain " + std::to_string(port) + " " + std::to_string(gain));
            mSite.Fence(OwnerOf(port).Seat().mLink);
            return refused == before;
        });
        Expect(taken, "input " + std::to_string(port) + " refuses every gain");
    }

    void ExpectInState(const std::string& text) {
        const bool found = Site::Await([&] { return AskBench("state").find(text) != std::string::npos; });
        Expect(found, "no " + text + " in " + (found ? "" : AskBench("state")));
    }

    void LetCrowdIn() {
        if (mCrowd == nullptr) {
            mCrowd = std::make_unique<ShellCrowd>(mSite.Box().ShellPort(), mRandom());
        }
    }

    /// With no client on the shell.
    Process::Holdings Measure() {
        mCrowd->Stop();
        mCrowd.reset();
        mSite.AwaitRest();
        Report();
        return mSite.Box().App().Usage();
    }

    void JudgeHoldings() {
        Process::Holdings end = Measure();
        // The last of those that have gone may still be on their way out.
        const bool flat = Site::Await([&] {
            end = mSite.Box().App().Usage();
            return end.mDescriptors <= mWarm.mDescriptors;
        });
        std::printf("from the warm-up to the end: %zu to %zu descriptors, RSS %ld to %ld KiB\n",
                    mWarm.mDescriptors, end.mDescriptors, mWarm.mResidentKib, end.mResidentKib);
        Expect(flat, "descriptors are left open");
        Expect(end.mResidentKib <= mWarm.mResidentKib + kMoreResidentKib, "memory grows");
    }

    void JudgeEnd() {
        Expect(mJudged > 0, "no storm could be judged, for the machine was too busy");
        Process& app = mSite.Box().App();
        app.Signal(SIGTERM);
        const int status = app.WaitForEnd();
        mSite.StopFollowing();
        Expect(status == 0, "SIGTERM ends the box with " + std::to_string(status));
        // Clients that break off are named there too, and are no fault.
        Expect(app.Errors().find("virtual board:") == std::string::npos,
               "bad register access: " + app.Errors());
        Expect(mSite.Seen().mAsserts == 0, "assumptions were found broken");
        const std::string dumps = mSite.Box().File("/var/lib/sorvel/crashdumps/brindlet-sim");
        Expect(!boost::filesystem::exists(dumps) || boost::filesystem::is_empty(dumps),
               "there is a minidump");
    }

    void Report() {
        const BoxLog::Counts& seen = mSite.Seen();
        const Process::Holdings holdings = mSite.Box().App().Usage();
        std::printf(
            "%5.0f s: %lu commands sent, %lu carried out, %u connections, active link changed %u times, "
            "%u rotations, %u clients dropped, RSS %ld KiB, %zu descriptors\n",
            std::chrono::duration<double>(Clock::now() - mBegin).count(),
            mSite.SenderOf(0).Sent() + mSite.SenderOf(1).Sent(), seen.mCommands[0] + seen.mCommands[1],
            seen.mStreams.load(), seen.mFailOvers.load(), seen.mRotations.load(), seen.mDroppedClients.load(),
            holdings.mResidentKib, holdings.mDescriptors);
        std::fflush(stdout);
    }

    void Expect(bool holds, const std::string& failure) {
        if (!holds) {
            ++mFailures;
            std::printf("FAULT in storm %u: %s\n", mStorms, failure.c_str());
        }
    }

    void Expect(const std::string& is, const std::string& shouldBe, const std::string& what) {
        Expect(is == shouldBe, what + ": '" + is + "' instead of '" + shouldBe + "'");
    }

    std::string AskBench(const std::string& request) { return mSite.Box().Bench().Ask(request); }
    Sender& OwnerOf(unsigned port) { return mSite.SenderOf(port / BoxLog::kPortsEach); }
    const Sender::Wanted& Wanted(unsigned port) { return OwnerOf(port).Ports()[port % BoxLog::kPortsEach]; }

    const Clock::time_point mBegin = Clock::now();
    const Clock::duration mLength;
    std::mt19937 mRandom;
    Site mSite;
    std::unique_ptr<ShellCrowd> mCrowd;
    Process::Holdings mWarm;
    unsigned long mSentBefore[2]{};
    unsigned long mCarriedOutBefore[2]{};
    unsigned mStorms = 0;
    unsigned mJudged = 0;  ///< of the storms
    unsigned mFailures = 0;
};

/// Whatever hangs, the soak doesn't.
void EndAtLatestAfter(double minutes) {
    constexpr double kSecondsMore = 55;
    std::signal(SIGALRM, [](int) {
        constexpr char kText[] = "brindlet-soak: it doesn't end by itself\n";
        [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, kText, sizeof kText - 1);
        _exit(1);
    });
    alarm(static_cast<unsigned>(minutes * 60 + kSecondsMore));
}

}  // namespace

int main(int argc, char* argv[]) {
    const double minutes = argc > 1 ? std::atof(argv[1]) : 0;
    if (argc > 3 || !(minutes > 0 && minutes <= kMostMinutes)) {
        std::fprintf(stderr, "usage: brindlet-soak MINUTES [SEED]\n");
        return 2;
    }
    try {
        EnterPrivateNetwork(argv);
        if (!WhyNoPrivateNetwork().empty()) {
            std::fprintf(stderr, "brindlet-soak: no network of its own: %s\n", WhyNoPrivateNetwork().c_str());
            return kSkipped;
        }
        EndAtLatestAfter(minutes);
        const auto seed =
            argc > 2 ? static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 0)) : std::random_device()();
        std::printf("%g minutes, seed %u\n", minutes, seed);
        std::fflush(stdout);
        return Soak(minutes, seed).Run() ? 0 : 1;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "brindlet-soak: %s\n", failure.what());
        return 1;
    }
}
