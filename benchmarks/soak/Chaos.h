#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "LineClient.h"
#include "Sender.h"
#include "VirtualBox.h"
#include "Worker.h"

/// One thing that goes wrong on a link after the other, each put right again. Runs from construction; leaves
/// the link whole.
class LinkChaos {
  public:
    LinkChaos(Sender& victim, std::uint16_t benchPort, std::uint32_t seed);

    void Stop() { mWorker.Stop(); }

  private:
    struct Fault;

    void Step(Worker& worker);
    void Request(const std::string& request);
    void Report(const std::string& state);

    Sender& mVictim;
    const unsigned mLink;
    LineClient mBench;
    std::mt19937 mRandom;
    Worker mWorker;
};

/// Supplies that fail and return. Runs from construction; leaves them whole.
class SupplyChaos {
  public:
    SupplyChaos(std::uint16_t benchPort, std::uint32_t seed);

    void Stop();

  private:
    void Ask(const std::string& request);

    LineClient mBench;
    std::mt19937 mRandom;
    Worker mWorker;
};

/// Clients of the shell that come and go: some tail the log and read, some tail and never read, some ask,
/// some break off in the middle of a line. Runs from construction.
class ShellCrowd {
  public:
    ShellCrowd(std::uint16_t shellPort, std::uint32_t seed);

    /// All go home.
    void Stop();

  private:
    using Clients = std::vector<std::unique_ptr<LineClient>>;

    void Step(Worker& worker);
    void Come(Clients& clients, std::size_t most);
    void Go(Clients& clients);
    void AskSomething();
    void BreakOff() const;

    const std::uint16_t mPort;
    std::mt19937 mRandom;
    Clients mReaders;
    Clients mSilent;
    Worker mWorker;
};
