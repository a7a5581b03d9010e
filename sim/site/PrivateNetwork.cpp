#include "PrivateNetwork.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "Tool.h"

namespace {

constexpr char kInside[] = "BRINDLET_SITE_INSIDE";
constexpr char kSetUp[] = "mount -t tmpfs tmpfs /run && mkdir /run/netns && ip link set lo up";
/// One of each that the tests make.
constexpr char kTrial[] =
    " && ip netns add trial && ip link add trial0 type veth peer name eth0 netns trial"
    " && nsenter --net=/run/netns/trial true";
/// The shell stays as the first process: the first of a namespace is deaf to SIGINT, SIGTERM and its own
/// abort().
constexpr char kRun[] = " || exit 125; \"$@\"; exit $?";

std::string sWhyNot;

std::vector<std::string> Unshare(const std::string& script) {
    // --kill-child: or what a killed test leaves behind would live on.
    return {
        "unshare", geteuid() == 0 ? "-nmpf" : "-Urnmpf", "--kill-child", "--mount-proc", "sh", "-c", script,
        "sh"};
}

/// Held as long as the process lives.
void LockMachineNetwork() {
    const std::string path = (boost::filesystem::temp_directory_path() / "brindlet-tests.lock").string();
    int descriptor = open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0644);
    if (descriptor < 0) {
        // Made by another user, whose file may be opened but not "created" in a folder for everybody.
        descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    }
    int result = -1;
    do {
        result = flock(descriptor, LOCK_EX);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

}  // namespace

void EnterPrivateNetwork(char* const arguments[]) {
    if (getenv(kInside) != nullptr) {
        return;
    }
    const std::string path = getenv("PATH") != nullptr ? getenv("PATH") : "/usr/bin:/bin";
    setenv("PATH", (path + ":/usr/sbin:/sbin").c_str(), 1);
    try {
        RunTool(Unshare(std::string(kSetUp) + kTrial));
    } catch (const std::runtime_error& reason) {
        sWhyNot = reason.what();
        LockMachineNetwork();
        return;
    }
    setenv(kInside, "1", 1);
    std::vector<std::string> words = Unshare(std::string(kSetUp) + kRun);
    words.push_back(boost::filesystem::read_symlink("/proc/self/exe").string());
    for (char* const* argument = arguments + 1; *argument != nullptr; ++argument) {
        words.emplace_back(*argument);
    }
    execvp(words[0].c_str(), Pointers(words).data());
    throw std::system_error(errno, std::generic_category(), words[0]);
}

const std::string& WhyNoPrivateNetwork() {
    return sWhyNot;
}
