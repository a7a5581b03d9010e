#include "CrashDumper.h"

#include <unistd.h>

#include <client/linux/handler/exception_handler.h>
#include <client/linux/handler/minidump_descriptor.h>
#include <boost/filesystem/operations.hpp>
#include <iostream>

#include "RootedPath.h"

namespace {

/// Length of the root before the dump's path. Here because the callback gets no context and may call nothing.
std::size_t rootLength = 0;

std::size_t Length(const char* text) {
    std::size_t length = 0;
    while (text[length] != '\0') {
        ++length;
    }
    return length;
}

void Print(const char* text, std::size_t length) {
    while (length > 0) {
        const ssize_t written = write(STDERR_FILENO, text, length);
        if (written <= 0) {
            return;
        }
        text += written;
        length -= static_cast<std::size_t>(written);
    }
}

/// Runs in the crashed process: nothing but write(2).
bool OnMinidump(const google_breakpad::MinidumpDescriptor& descriptor, void* /*context*/, bool succeeded) {
    constexpr char kLabel[] = "MINIDUMP=";
    const char* const path = descriptor.path();
    const std::size_t length = Length(path);
    const std::size_t skipped = rootLength < length ? rootLength : length;
    Print(kLabel, sizeof kLabel - 1);
    Print(path + skipped, length - skipped);
    Print("\n", 1);
    return succeeded;
}

}  // namespace

CrashDumper::CrashDumper(const std::string& root, const std::string& programPath) {
    const std::string program = boost::filesystem::path(programPath).filename().string();
    const RootedPath folder(root, "/var/lib/sorvel/crashdumps/" + program);
    std::cout << "Google Breakpad dump location: " << folder.Shown() << std::endl;
    boost::system::error_code ignored;
    boost::filesystem::create_directories(folder.Actual(), ignored);
    rootLength = root.size();
    mDescriptor = std::make_shared<google_breakpad::MinidumpDescriptor>(folder.Actual());
    mHandler = std::make_shared<google_breakpad::ExceptionHandler>(*mDescriptor, nullptr, OnMinidump, nullptr,
                                                                   true, -1);
}

CrashDumper::~CrashDumper() = default;
