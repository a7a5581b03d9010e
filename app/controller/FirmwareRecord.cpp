#include "FirmwareRecord.h"

#include <sys/stat.h>
#include <tinyxml.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <boost/format.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <optional>

#include "Audit.h"
#include "FirmwareBuild.h"
#include "RootedPath.h"

namespace TalvoBrindlet {

namespace {

/// More than any record has. The parser goes one call deeper with each element inside another.
constexpr std::uintmax_t kMostBytes = 16384;

constexpr mode_t kPermissions = 07777;

/// Why the file can't be the record; empty where it may be.
std::string WhyNotARecord(const std::string& path) {
    boost::system::error_code error;
    const auto status = boost::filesystem::status(path, error);
    if (!boost::filesystem::exists(status)) {
        return error ? error.message() : std::strerror(ENOENT);
    }
    if (!boost::filesystem::is_regular_file(status)) {
        return "not a file";
    }
    const std::uintmax_t size = boost::filesystem::file_size(path, error);
    if (error) {
        return error.message();
    }
    return size > kMostBytes ? "more than 16384 bytes" : "";
}

bool Load(TiXmlDocument& record, const RootedPath& path) {
    std::string why = WhyNotARecord(path.Actual());
    if (why.empty() && !record.LoadFile(path.Actual())) {
        why = record.ErrorDesc();
    }
    if (!why.empty()) {
        AUDIT(Feature::Fault, "%s\n",
              ("Failed to find the firmware config file " + path.Shown() + "due to error" + why).c_str());
    }
    return why.empty();
}

/// The version without its build number.
std::string VersionBase(const TiXmlElement& version) {
    const char* const text = version.GetText();
    const std::string value = text != nullptr ? text : "";
    return std::count(value.begin(), value.end(), '.') == 2 ? value.substr(0, value.rfind('.')) : "0.0";
}

void SetText(TiXmlElement& element, const std::string& value) {
    const TiXmlText text(value);
    if (TiXmlNode* const former = element.FirstChild()) {
        element.ReplaceChild(former, text);
    } else {
        element.InsertEndChild(text);
    }
}

/// Everything on disk, or nothing said of it.
bool WriteOut(const TiXmlDocument& record, const std::string& path) {
    std::FILE* const file = std::fopen(path.c_str(), "w");
    if (file == nullptr) {
        return false;
    }
    const bool isWritten = record.SaveFile(file) && std::fflush(file) == 0 && ::fsync(::fileno(file)) == 0;
    return std::fclose(file) == 0 && isWritten;
}

/// By way of a second file: a box that loses its power at this moment still has a whole record. Those who
/// could read the first one can read this, and a link to it stays one.
bool Save(const TiXmlDocument& record, const std::string& shownPath) {
    boost::system::error_code error;
    const std::string path = boost::filesystem::canonical(shownPath, error).string();
    struct stat former {};
    if (error || ::stat(path.c_str(), &former) != 0 || ::access(path.c_str(), W_OK) != 0) {
        return false;
    }
    const std::string partial = path + ".new";
    if (WriteOut(record, partial) && ::chmod(partial.c_str(), former.st_mode & kPermissions) == 0) {
        // Not everybody may give a file away, and who may read it is as it was.
        [[maybe_unused]] const int ignored = ::chown(partial.c_str(), former.st_uid, former.st_gid);
        if (std::rename(partial.c_str(), path.c_str()) == 0) {
            return true;
        }
    }
    std::remove(partial.c_str());
    return false;
}

/// Nothing, with a Fault line, where the block can't be opened just now.
std::optional<std::uint32_t> ReadBuild(fsi::IFsiBus& bus, const std::string& firmwareIdentity) {
    try {
        return GetFirmwareBuild(bus, firmwareIdentity);
    } catch (const std::exception& failure) {
        AUDIT(Feature::Fault, "Failed to read the firmware build: %s\n", failure.what());
        return {};
    }
}

}  // namespace

bool UpdateFirmwareRecord(const RootedPath& path, fsi::IFsiBus& bus, const std::string& firmwareIdentity) {
    TiXmlDocument record;
    if (!Load(record, path)) {
        return false;
    }
    TiXmlElement* const application = record.FirstChildElement("Application");
    if (application == nullptr) {
        AUDIT(Feature::Fault, "Did not find Application element in file %s\n", path.Shown().c_str());
        return false;
    }
    TiXmlElement* const version = application->FirstChildElement("Version");
    if (version == nullptr) {
        AUDIT(Feature::Fault, "Did not find Version element in file %s\n", path.Shown().c_str());
        return false;
    }
    const auto build = ReadBuild(bus, firmwareIdentity);
    if (!build) {
        return false;
    }
    SetText(*version, (boost::format("%1$s.%2$d") % VersionBase(*version) % *build).str());
    if (!Save(record, path.Actual())) {
        AUDIT(Feature::Fault, "Failed to save updated Firmware Application XML file\n");
        return false;
    }
    return true;
}

}  // namespace TalvoBrindlet
