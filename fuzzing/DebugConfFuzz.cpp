// Bytes as the file of log switches.

#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "Audit.h"
#include "DebugConfigure.h"
#include "FuzzTarget.h"
#include "RootedPath.h"

namespace {

/// A file of these bytes, in memory.
class MemoryFile {
  public:
    MemoryFile(const std::uint8_t* data, std::size_t size)
        : mDescriptor(memfd_create("debug.conf", MFD_CLOEXEC)) {
        Require(write(mDescriptor, data, size) == static_cast<ssize_t>(size),
                "the system has memory for a file");
    }
    ~MemoryFile() { close(mDescriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    RootedPath Path() const { return RootedPath("/proc/self/fd/" + std::to_string(mDescriptor)); }

  private:
    int mDescriptor;
};

Audit::LevelBytes LevelsAfter(const RootedPath& path) {
    DebugConfigure::ReadFile(path);
    Audit::LevelBytes levels;
    Audit::Instance().GetLevels(levels);
    return levels;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const MemoryFile file(data, size);
    Audit& audit = Audit::Instance();
    audit.SetAllLevels(0);
    const auto fromOff = LevelsAfter(file.Path());
    audit.SetAllLevels(1);
    const auto fromOn = LevelsAfter(file.Path());
    for (unsigned id = 0; id < Audit::kMaxDebugLevels; ++id) {
        Require(fromOff[id] <= fromOn[id] && fromOn[id] <= 1,
                "a switch is set, or left as it was, whatever it was");
    }
    Require(LevelsAfter(file.Path()) == fromOn, "a file that is read again changes nothing");
    return 0;
}
