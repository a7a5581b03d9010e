#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <random>
#include <string>

#include "BoxLog.h"
#include "VirtualSite.h"
#include "Worker.h"

/// A router of the site that keeps sending: commands for its half of the ports, drawn from a seeded mix, at
/// its rate whatever the link does. It remembers what its ports are to be. Requests may come from several
/// threads, all else belongs to one.
class Sender {
  public:
    static constexpr unsigned kPerSecond = 200;

    /// What one port number, as an output and as an input, is to be.
    struct Wanted {
        unsigned mLink = 0;
        bool mMuted = false;
        bool mPhantom = false;
    };
    using Half = std::array<Wanted, BoxLog::kPortsEach>;

    Sender(const RouterSeat& seat, std::uint32_t seed);

    /// One request to the router, and its reply.
    std::string Ask(const std::string& request);

    /// Kills the router and starts another in its place.
    void Restart();

    /// Starts to send the mix.
    void Start();
    void Stop();

    /// Sends a command for everything that is remembered, so that it holds whatever came before.
    void SetAll();

    /// Sends one command that counts, for one of the sender's own ports.
    void Send(const std::string& command);

    unsigned FirstPort() const { return mSeat.mLink * BoxLog::kPortsEach; }
    const RouterSeat& Seat() const { return mSeat; }
    const Half& Ports() const { return mPorts; }
    unsigned long Sent() const { return mSent; }
    unsigned long Refused() const { return mRefused; }  ///< not sent, as there was no stream

  private:
    std::string Draw();
    std::string DrawBitmap();
    std::string Bitmap(unsigned index) const;
    unsigned Pick(unsigned count) { return static_cast<unsigned>(mRandom() % count); }

    const RouterSeat mSeat;
    std::mt19937 mRandom;
    std::mutex mMutex;  ///< guards the router
    std::unique_ptr<VirtualRouter> mRouter;
    Half mPorts;
    std::atomic<unsigned long> mSent{0};
    std::atomic<unsigned long> mRefused{0};
    std::unique_ptr<Worker> mWorker;
};
