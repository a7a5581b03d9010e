#include "RunApplication.h"

#include <boost/asio/io_service.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/signal_set.hpp>
#include <csignal>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>
#include <utility>

#include "AdmaNode.h"
#include "ApplicationVersion.h"
#include "Audit.h"
#include "BrindletManager.h"
#include "CliNodePower.h"
#include "CliT2PortConfigNode.h"
#include "CommandLine.h"
#include "CommandLineOptions.h"
#include "CrashDumper.h"
#include "DebugConfigure.h"
#include "ExtRefNode.h"
#include "FirmwareBuild.h"
#include "Platform.h"
#include "RemoteAuditor.h"
#include "RootCommands.h"
#include "RootedPath.h"
#include "TalvoRouterComms.h"

namespace {

using TalvoBrindlet::BrindletManager;
using TalvoBrindlet::OperatingMode;

/// What the box calls itself in its heartbeats.
constexpr std::uint32_t kDeviceType = 2;

constexpr const char* kDebugConfiguration = "/home/root/TalvoBrindlet/debug.conf";

/// Runs something at the end of its scope, whichever way that ends.
template <class Action>
class AtEnd {
  public:
    explicit AtEnd(Action action) : mAction(std::move(action)) {}
    AtEnd(const AtEnd&) = delete;
    AtEnd& operator=(const AtEnd&) = delete;
    ~AtEnd() { mAction(); }

  private:
    Action mAction;
};

std::string ProgramName(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

/// Has the log tell what is typed and what is answered, whole, however long it is.
void LogShell(cmd::CommandLine& commandLine) {
    const auto isLogged = [] {
        return Audit::Instance().IsEnabled(Feature::Information);
    };
    commandLine.SetOnReceived([isLogged](const std::string& line) {
        if (isLogged()) {
            Audit::Instance().OutputLong(Feature::Information, "CommandLine: Received " + line + "\r\n");
        }
    });
    commandLine.SetOnSent([isLogged](const std::string& command, const std::string& reply) {
        if (isLogged()) {
            Audit::Instance().OutputLong(Feature::Information,
                                         "CommandLine: Sent " + command + "Result:\r\n" + reply + "\r\n");
        }
    });
}

void InstallLog(cmd::CommandLine& commandLine, const std::string& root, const std::string& path) {
    auto auditor = std::make_unique<cmd::RemoteAuditor>(commandLine, root, path);
    auditor->SetTailOnConnect(true);
    Audit::SetInstance(std::move(auditor));
}

void StopOnSignal(boost::asio::signal_set& signals, cmd::CommandLine& commandLine) {
    signals.async_wait([&commandLine](const boost::system::error_code& error, int /*signal*/) {
        if (error) {
            return;
        }
        AUDIT(Feature::Fault, "Brindlet initialisation stopping due to ASIO error ...%s : %d\n",
              error.category().name(), error.value());
        commandLine.Stop();
    });
}

/// From the controller's making to its release. Throws what the devices and the event loop throw.
int RunController(boost::asio::io_service& io, cmd::CommandLine& commandLine, const Platform& platform,
                  const std::string& programName) {
    AUDIT(Feature::Information, "Brindlet: ASIO service initialised\n");
    const auto manager = std::make_shared<BrindletManager>(io, platform.mBus, platform.mRoot);
    manager->Initialise();
    auto comms = std::make_shared<TalvoRouterComms>(
        io, [&manager = *manager] { return manager.GetIoBoxStatus(); },
        [&manager = *manager] { return manager.GetHid(); }, kDeviceType);
    const std::uint32_t hid = manager->GetHid();
    AUDIT(Feature::Information, "Brindlet: HID is 0x%-8.8lx( %lu )\r\n", static_cast<unsigned long>(hid),
          static_cast<unsigned long>(hid));
    if (manager->GetOperatingMode() == OperatingMode::Unknown) {
        AUDIT(Feature::Fault, "Brindlet: cannot determine device operating mode. Halting!\r\n");
        return 1;
    }
    // The routers' threads ask the controller, so they end before it.
    const AtEnd releaseComms([&manager, &comms] {
        manager->ReleaseRouterComms();
        comms.reset();
    });
    manager->SetRouterComms(comms);

    // The commands reach into the controller, so they go before it.
    const AtEnd removeCommands([&commandLine] { commandLine.Root()->Clear(); });
    commandLine.Root()->AddChild(std::make_shared<cmd::AdmaNode>(manager->DmaManager()));
    commandLine.Root()->AddChild(
        std::make_shared<cmd::ExtRefNode>(manager->ClockManager(), &manager->Devices()));
    commandLine.Root()->AddChild(std::make_shared<TalvoBrindlet::CliT2PortConfigNode>(manager));
    commandLine.Root()->AddChild(std::make_shared<TalvoBrindlet::CliNodePower>(manager));
    RegisterRootCommands(*commandLine.Root(), *manager, programName, hid);
    commandLine.Run();
    return 0;
}

/// RunController with its failures turned into words and an exit status.
int RunGuarded(boost::asio::io_service& io, cmd::CommandLine& commandLine, const Platform& platform,
               const std::string& programName) {
    try {
        return RunController(io, commandLine, platform, programName);
    } catch (const std::system_error& error) {
        std::cout << error.what() << std::endl;
        return 0;
    } catch (...) {
        std::cout << "Talvo Brindlet: Unhandled exception - aborting!\n" << std::flush;
        return 1;
    }
}

}  // namespace

int RunApplication(int argc, char* argv[], const Platform& platform) {
    // A console that goes away is no reason to stop; a write to it then fails and is ignored.
    std::signal(SIGPIPE, SIG_IGN);
    // Whoever started this may have had it ignored, and then the status of `ifconfig` can't be had.
    std::signal(SIGCHLD, SIG_DFL);
    const CrashDumper crashDumper(platform.mRoot, argv[0]);
    const std::string programName = ProgramName(argv[0]);
    const CommandLineOptions options(argc, argv);
    if (const auto status = options.Answer()) {
        return *status;
    }
    std::cout << "Sorvel " << programName << "(App v." << kApplicationVersion << ", Firmware build v."
              << TalvoBrindlet::GetFirmwareBuild(platform.mBus) << ") starting..." << std::endl;

    boost::asio::io_service io;
    const boost::asio::io_service::work work(io);
    const AtEnd announceEnd([&platform] {
        if (platform.mOnEventLoop) {
            platform.mOnEventLoop(nullptr);
        }
    });
    if (platform.mOnEventLoop) {
        platform.mOnEventLoop(&io);
    }
    boost::asio::signal_set signals(io, SIGINT, SIGTERM);
    const boost::asio::ip::tcp::endpoint telnet(boost::asio::ip::address_v4(options.Telnet().mAddress),
                                                options.Telnet().mPort);
    cmd::CommandLine commandLine(io, telnet, programName);
    LogShell(commandLine);
    const AtEnd removeLog([] { Audit::DestroyInstance(); });
    InstallLog(commandLine, platform.mRoot, options.LogPath());
    DebugConfigure::ReadFile(RootedPath(platform.mRoot, kDebugConfiguration));
    AUDIT(Feature::Information, "Sorvel Brindlet Controller: Application %s (v.%s)\n", programName.c_str(),
          kApplicationVersion);
    StopOnSignal(signals, commandLine);
    return RunGuarded(io, commandLine, platform, programName);
}
