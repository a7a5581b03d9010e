#include "BenchRoot.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "LineText.h"

namespace sim {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFolders[] = {
    "var/log",
    "home/root/Firmware",
    "home/root/TalvoBrindlet",
    "var/lib/sorvel/etc/Extends",
    "var/lib/sorvel/crashdumps",
};

constexpr const char* kFirmwareRecord = "home/root/Firmware/Application.xml";
constexpr const char* kFirmwareText =
    "<?xml version=\"1.0\" ?>\n"
    "<Application>\n"
    "    <Version>2.0.0</Version>\n"
    "</Application>\n";

void MakeFolder(const fs::path& folder) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) {
        throw std::system_error(error, "cannot make the folder " + Quoted(folder.string()));
    }
}

void MakeFirmwareRecord(const fs::path& file) {
    std::error_code error;
    if (fs::exists(file, error)) {
        return;
    }
    std::ofstream record(file);
    record << kFirmwareText << std::flush;
    if (!record) {
        throw std::system_error(errno, std::generic_category(), "cannot write " + Quoted(file.string()));
    }
}

}  // namespace

std::string PrepareRoot(const std::string& folder) {
    const fs::path root = fs::absolute(folder).lexically_normal();
    for (const char* below : kFolders) {
        MakeFolder(root / below);
    }
    MakeFirmwareRecord(root / kFirmwareRecord);
    std::string text = root.string();
    while (!text.empty() && text.back() == '/') {
        text.pop_back();
    }
    return text;
}

}  // namespace sim
