#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// The product's command line.
class CommandLineOptions {
  public:
    /// Where the shell listens.
    struct Endpoint {
        std::uint32_t mAddress = 0;  ///< IPv4, host byte order
        std::uint16_t mPort = 55555;
    };

    /// Throws the option parser's errors: an unknown option, a bad or a repeated endpoint.
    CommandLineOptions(int argc, const char* const argv[]);

    /// Prints what `--help` or `--version` asks for, and gives the exit status; nothing where the application
    /// is to run.
    std::optional<int> Answer() const;

    const Endpoint& Telnet() const { return mTelnet; }

    /// Path of the log; empty for the default.
    const std::string& LogPath() const { return mLogPath; }

  private:
    Endpoint mTelnet;
    std::string mLogPath;
    std::string mHelpText;
    bool mHelp = false;
    bool mVersion = false;
    bool mHid = false;
};
