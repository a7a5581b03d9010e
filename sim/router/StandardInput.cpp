#include "StandardInput.h"

#include <unistd.h>

#include <boost/asio/read_until.hpp>
#include <cstdio>
#include <iostream>
#include <istream>
#include <utility>

namespace sim {

namespace {

constexpr std::size_t kMaxLine = 64 * 1024 * 1024;  ///< a `raw` request may be long

}  // namespace

StandardInput::StandardInput(boost::asio::io_service& service, Handler handler)
    : mInput(service), mBuffer(kMaxLine), mHandler(std::move(handler)) {}

void StandardInput::Start() {
    boost::system::error_code failure;
    const int descriptor = ::dup(STDIN_FILENO);
    mInput.assign(descriptor, failure);
    if (failure) {
        ::close(descriptor);
        ReadAll();  // a file, which can't be waited for and needn't be
    } else {
        ReadLine();
    }
}

void StandardInput::ReadAll() {
    for (std::string line; std::getline(std::cin, line);) {
        Answer(line);
    }
}

void StandardInput::ReadLine() {
    boost::asio::async_read_until(mInput, mBuffer, '\n',
                                  [this](const boost::system::error_code& error, std::size_t) {
                                      if (error) {
                                          return;
                                      }
                                      std::istream stream(&mBuffer);
                                      std::string line;
                                      std::getline(stream, line);
                                      Answer(line);
                                      ReadLine();
                                  });
}

void StandardInput::Answer(std::string line) {
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    std::printf("%s\n", mHandler(line).c_str());
    std::fflush(stdout);
}

}  // namespace sim
