#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "LineClient.h"
#include "Process.h"
#include "ScopedFolder.h"

/// brindlet-sim running in a folder of its own, with a client that doesn't tail on its shell and one on its
/// bench port.
class VirtualBox {
  public:
    /// Starts it with these bench options and waits until the shell answers.
    explicit VirtualBox(const std::vector<std::string>& options = {});

    LineClient& Shell() { return *mShell; }
    LineClient& Bench() { return *mBench; }
    Process& App() { return *mApp; }
    std::uint16_t ShellPort() const { return mShellPort; }
    std::uint16_t BenchPort() const { return mBenchPort; }

    /// The path of a file below the box's root, such as "/var/log/T2.log".
    std::string File(const std::string& path) const { return mFolder / ("root" + path); }
    std::string LogText() const { return ContentOf(File("/var/log/T2.log")); }

    /// The number behind "syncs" in the state.
    int Syncs();

    /// Types `line` and waits until all that it sets going has ended. For commands that reply nothing.
    void Do(const std::string& line);

    /// Runs the box once more on the same files, after the former process has ended.
    void Restart();

  private:
    void Start();

    ScopedFolder mFolder;
    std::vector<std::string> mOptions;
    std::uint16_t mShellPort = 0;
    std::uint16_t mBenchPort = 0;
    std::unique_ptr<Process> mApp;
    std::unique_ptr<LineClient> mShell;
    std::unique_ptr<LineClient> mBench;
};

/// Listens on a port of the loopback address, and answers nobody.
class ListeningSocket {
  public:
    ListeningSocket();
    ~ListeningSocket();
    ListeningSocket(const ListeningSocket&) = delete;
    ListeningSocket& operator=(const ListeningSocket&) = delete;

    std::uint16_t Port() const { return mPort; }

  private:
    int mDescriptor;
    std::uint16_t mPort = 0;
};

/// A port of the loopback address that nobody listens on just now.
std::uint16_t FreePort();

/// The register accesses of a trace, without their times. Those of the LED and the supply are left out:
/// timers make them whenever it suits them.
std::vector<std::string> AccessesIn(const std::string& trace);
