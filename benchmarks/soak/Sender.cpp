#include "Sender.h"

#include <stdexcept>
#include <utility>

namespace {

constexpr int kOutputGains[] = {0, -40, -60, -80, -100, -130};
constexpr unsigned kInputGains = 600;

/// The audio port of a bitmap by output port.
constexpr unsigned kAudioPorts[] = {7, 6, 5, 4, 2, 3, 0, 1};

std::string OnOff(bool on) {
    return on ? " on" : " off";
}

}  // namespace

Sender::Sender(const RouterSeat& seat, std::uint32_t seed)
    : mSeat(seat), mRandom(seed), mRouter(std::make_unique<VirtualRouter>(seat)) {}

std::string Sender::Ask(const std::string& request) {
    const std::lock_guard lock(mMutex);
    return mRouter->Ask(request);
}

void Sender::Restart() {
    const std::lock_guard lock(mMutex);
    mRouter->Kill();
    mRouter = std::make_unique<VirtualRouter>(mSeat);
}

void Sender::Start() {
    static constexpr auto kPause = std::chrono::microseconds(1'000'000 / kPerSecond);
    auto next = std::chrono::steady_clock::now();
    mWorker = std::make_unique<Worker>([this, next](Worker& worker) mutable {
        Send(Draw());
        worker.RestUntil(next += kPause);
    });
}

void Sender::Stop() {
    if (const auto worker = std::exchange(mWorker, nullptr)) {
        worker->Stop();
    }
}

void Sender::Send(const std::string& command) {
    const std::string reply = Ask(command);
    if (reply == "ok") {
        ++mSent;
    } else if (reply == "error not connected") {
        ++mRefused;
    } else {
        throw std::runtime_error("'" + command + "' is answered with '" + reply + "'");
    }
}

void Sender::SetAll() {
    for (unsigned index = 0; index < mPorts.size(); ++index) {
        const std::string port = std::to_string(FirstPort() + index);
        Send("bitmap" + Bitmap(index));
        Send("mute " + port + OnOff(mPorts[index].mMuted));
        Send("phantom " + port + OnOff(mPorts[index].mPhantom));
    }
}

std::string Sender::Draw() {
    // Of ten commands three are bitmaps, three mutes, two gains, one is phantom power, one an output gain.
    constexpr unsigned kBitmap = 3;
    constexpr unsigned kMute = 6;
    constexpr unsigned kInputGain = 8;
    constexpr unsigned kPhantom = 9;
    constexpr unsigned kAll = 10;
    const unsigned kind = Pick(kAll);
    if (kind < kBitmap) {
        return DrawBitmap();
    }
    const unsigned index = Pick(BoxLog::kPortsEach);
    const std::string port = std::to_string(FirstPort() + index);
    if (kind < kMute) {
        mPorts[index].mMuted = Pick(2) == 0;
        return "mute " + port + OnOff(mPorts[index].mMuted);
    }
    if (kind < kInputGain) {
        return "gain " + port + " " + std::to_string(Pick(kInputGains));
    }
    if (kind < kPhantom) {
        mPorts[index].mPhantom = Pick(2) == 0;
        return "phantom " + port + OnOff(mPorts[index].mPhantom);
    }
    return "outgain " + port + " " + std::to_string(kOutputGains[Pick(std::size(kOutputGains))]);
}

std::string Sender::DrawBitmap() {
    const unsigned chosen = 1 + Pick((1U << BoxLog::kPortsEach) - 1);
    std::string command = "bitmap";
    for (unsigned index = 0; index < mPorts.size(); ++index) {
        if ((chosen >> index & 1U) != 0) {
            mPorts[index].mLink = Pick(2);
            command += Bitmap(index);
        }
    }
    return command;
}

std::string Sender::Bitmap(unsigned index) const {
    return " " + std::to_string(kAudioPorts[FirstPort() + index]) + ":" + std::to_string(mPorts[index].mLink);
}
