#include "LineClient.h"

#include <chrono>
#include <stdexcept>

std::string LineClient::ReadUntil(const std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    std::size_t found = mInput.find(text);
    while (found == std::string::npos) {
        if (std::chrono::steady_clock::now() > deadline || !ReceiveSome(mInput)) {
            throw std::runtime_error("no '" + text + "' came, only '" + mInput + "'");
        }
        found = mInput.find(text);
    }
    std::string taken = mInput.substr(0, found + text.size());
    mInput.erase(0, taken.size());
    return taken;
}

std::string LineClient::ReadLine() {
    const std::string line = ReadUntil("\n");
    return line.substr(0, line.size() - 1);
}

std::string LineClient::Ask(const std::string& line) {
    Send(line + "\n");
    return ReadLine();
}

std::string LineClient::ReadToEnd() {
    while (ReceiveSome(mInput)) {
    }
    return mInput;
}
