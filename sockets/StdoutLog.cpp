#include "StdoutLog.h"

#include <array>
#include <cstdio>
#include <ctime>

#include "Socket.h"

void StdoutLog::Report(const Socket* socket, const std::string& call, int code, const std::string& text,
                       Level level) {
    constexpr std::array<const char*, 4> kLevels{{"Info", "Warning", "Error", "Fatal"}};
    constexpr int kFirstYear = 1900;
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::printf("%d-%02d-%02d %02d:%02d:%02d :: fd %d :: %s: %d %s (%s)\n", local.tm_year + kFirstYear,
                local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                socket == nullptr ? -1 : socket->GetSocket(), call.c_str(), code, text.c_str(),
                kLevels[static_cast<std::size_t>(level)]);
}
