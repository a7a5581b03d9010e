#include "UioBus.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/filesystem/operations.hpp>
#include <exception>
#include <fstream>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "Registers.h"

namespace fsi {

namespace {

namespace fs = boost::filesystem;

std::optional<std::string> FirstLine(const fs::path& path) {
    std::ifstream file(path.string());
    std::string line;
    if (!std::getline(file, line)) {
        return std::nullopt;
    }
    return line;
}

/// The hexadecimal number in the file; 0 where the file can't be read. Throws what std::stoi throws.
std::uint32_t HexNumber(const fs::path& path) {
    const std::optional<std::string> line = FirstLine(path);
    return line ? static_cast<std::uint32_t>(std::stoi(*line, nullptr, 16)) : 0;
}

/// The entries of the class folder with this identity, in string order of their paths.
std::vector<fs::path> Matches(const std::string& classFolder, const std::string& identity) {
    std::vector<fs::path> matches;
    if (!fs::is_directory(classFolder)) {
        return matches;
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(classFolder)) {
        const std::optional<std::string> name = FirstLine(entry.path() / "name");
        if (name && boost::algorithm::iequals(*name, identity)) {
            matches.push_back(entry.path());
        }
    }
    std::sort(matches.begin(), matches.end(),
              [](const fs::path& a, const fs::path& b) { return a.string() < b.string(); });
    return matches;
}

/// Unrolled, for the loop itself would cost as much as the stores.
void StoreAll(volatile std::uint32_t& target, const std::uint32_t* values, std::size_t count) {
#pragma GCC unroll 8
    for (std::size_t index = 0; index < count; ++index) {
        target = values[index];
    }
}

/// An open UIO node and the mapping of its registers; both end with the object.
class UioWindow : public IRegisterWindow {
  public:
    UioWindow(const std::string& device, std::uint32_t size, std::uint32_t mapOffset)
        : mSize(size), mDescriptor(open(device.c_str(), O_RDWR | O_SYNC | O_CLOEXEC)) {
        if (mDescriptor == -1 || !Reaches(mapOffset)) {
            return;
        }
        void* const mapped = mmap(nullptr, mSize, PROT_READ | PROT_WRITE, MAP_SHARED, mDescriptor, 0);
        if (mapped != MAP_FAILED) {
            mMapped = mapped;
            mBase = reinterpret_cast<volatile std::uint32_t*>(static_cast<char*>(mapped) + mapOffset);
        }
    }

    ~UioWindow() override {
        if (mMapped != nullptr) {
            munmap(mMapped, mSize);
        }
        if (mDescriptor != -1) {
            close(mDescriptor);
        }
    }

    bool IsMapped() const { return mBase != nullptr; }

    std::uint32_t Read(std::uint32_t offset) override { return mBase[offset / sizeof *mBase]; }
    void Write(std::uint32_t offset, std::uint32_t value) override { mBase[offset / sizeof *mBase] = value; }

    void WriteRun(std::uint32_t offset, const std::uint32_t* values, std::size_t count) override {
        StoreAll(mBase[offset / sizeof *mBase], values, count);
    }

    int Descriptor() const override { return mDescriptor; }
    std::uintptr_t MappedBase() const override { return reinterpret_cast<std::uintptr_t>(mBase); }

  private:
    /// Whether the pages of a mapping of mSize bytes hold the whole block at `mapOffset`.
    bool Reaches(std::uint32_t mapOffset) const {
        const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
        const std::uint64_t mappedBytes = (mSize + page - 1) / page * page;
        return std::uint64_t{mapOffset} + registers::kBlockSize <= mappedBytes;
    }

    std::uint32_t mSize;
    int mDescriptor;
    void* mMapped = nullptr;
    volatile std::uint32_t* mBase = nullptr;
};

}  // namespace

UioBus::UioBus(std::string classFolder, std::string deviceFolder)
    : mClassFolder(std::move(classFolder)), mDeviceFolder(std::move(deviceFolder)) {}

UioBus::Node UioBus::Find(const std::string& identity, unsigned instance) const {
    Node node;
    try {
        const std::vector<fs::path> matches = Matches(mClassFolder, identity);
        if (instance < matches.size()) {
            const fs::path& entry = matches[instance];
            node.mDevice = (fs::path(mDeviceFolder) / entry.filename()).string();
            node.mSize = HexNumber(entry / "maps/map0/size");
            node.mMapOffset = HexNumber(entry / "maps/map0/offset");
        }
    } catch (const std::exception&) {
        // What has been found so far decides: an incomplete node fails to map, and that report names it.
    }
    return node;
}

std::unique_ptr<IRegisterWindow> UioBus::Open(const std::string& identity, unsigned instance) {
    const Node node = Find(identity, instance);
    std::unique_ptr<UioWindow> window;
    if (!node.mDevice.empty()) {
        window = std::make_unique<UioWindow>(node.mDevice, node.mSize, node.mMapOffset);
    }
    if (window == nullptr || !window->IsMapped()) {
        const int descriptor = window != nullptr ? window->Descriptor() : -1;
        throw std::system_error(ENODEV, std::generic_category(),
                                "FSI '" + identity + "' (device '" + node.mDevice + "', fd " +
                                    std::to_string(descriptor) + ", size " + std::to_string(node.mSize) +
                                    ")");
    }
    return window;
}

}  // namespace fsi
