#include "VirtualBox.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>

ListeningSocket::ListeningSocket() : mDescriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(mDescriptor, generic, size) != 0 || listen(mDescriptor, 1) != 0 ||
        getsockname(mDescriptor, generic, &size) != 0) {
        throw std::runtime_error("cannot listen");
    }
    mPort = ntohs(address.sin_port);
}

ListeningSocket::~ListeningSocket() {
    close(mDescriptor);
}

std::uint16_t FreePort() {
    return ListeningSocket().Port();
}

VirtualBox::VirtualBox(const std::vector<std::string>& options) : mOptions(options) {
    Start();
}

void VirtualBox::Restart() {
    mShell.reset();
    mBench.reset();
    mApp.reset();
    Start();
}

void VirtualBox::Start() {
    mShellPort = FreePort();
    std::vector<std::string> arguments{"--root", mFolder / "root", "--bench", "127.0.0.1:0"};
    arguments.insert(arguments.end(), mOptions.begin(), mOptions.end());
    if (std::find(mOptions.begin(), mOptions.end(), "--link0") == mOptions.end()) {
        // Or the box would wait for its link driver, two seconds for each link.
        arguments.insert(arguments.end(), {"--link0", "up 1 1 adma 3", "--link1", "up 1 1 adma 2"});
    }
    arguments.insert(arguments.end(), {"--", "--telnet", "127.0.0.1:" + std::to_string(mShellPort)});
    mApp = std::make_unique<Process>(mFolder, "brindlet-sim", arguments);
    const std::string bench = mApp->WaitForOutput("bench: ");
    mBenchPort = static_cast<std::uint16_t>(std::stoi(bench.substr(bench.find(':') + 1)));
    mApp->WaitForOutput("Brindlet: configuring audio for Talvo 2 operation");
    mBench = std::make_unique<LineClient>(mBenchPort);
    mShell = std::make_unique<LineClient>(mShellPort);
    mShell->Send("tail false\n");
    mShell->ReadUntil("\nfalse\n");
    if (mBench->Ask("wait") != "ok") {
        throw std::runtime_error("the box doesn't come to rest");
    }
}

int VirtualBox::Syncs() {
    const std::string state = mBench->Ask("state");
    const std::string key = "\"syncs\":";
    return std::stoi(state.substr(state.find(key) + key.size()));
}

void VirtualBox::Do(const std::string& line) {
    // `hid` replies, and only after the line before it has been dealt with.
    const std::string reply = mShell->Ask(line + "\nhid");
    if (reply.rfind("Hid is set to", 0) != 0) {
        throw std::runtime_error("'" + line + "' answers '" + reply + "'");
    }
    const std::string waited = mBench->Ask("wait");
    if (waited != "ok") {
        throw std::runtime_error("'" + line + "' leaves '" + waited + "'");
    }
}

std::vector<std::string> AccessesIn(const std::string& trace) {
    std::vector<std::string> accesses;
    std::ifstream file(trace);
    for (std::string line; std::getline(file, line);) {
        line.erase(0, line.find(' ') + 1);
        if (line.rfind("0009 ", 0) != 0 && line.rfind("000A ", 0) != 0) {
            accesses.push_back(line);
        }
    }
    return accesses;
}
