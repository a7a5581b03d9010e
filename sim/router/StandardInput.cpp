#include "StandardInput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/asio/post.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <cstdio>
#include <iostream>
#include <istream>
#include <utility>

namespace sim {
namespace {

using boost::system::error_code;

/// Asio makes a descriptor non-blocking, for everyone who shares its open file, the terminal's other users
/// among them; so the file is opened once more where it can be.
/// A file that can't be waited for isn't, and goes on from where it is.
void Assign(boost::asio::posix::stream_descriptor& stream, int standard, int access) {
    struct stat kind {};
    if (::fstat(standard, &kind) != 0 || S_ISREG(kind.st_mode)) {
        return;
    }
    const std::string path = "/proc/self/fd/" + std::to_string(standard);
    int descriptor = ::open(path.c_str(), access | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0) {
        descriptor = ::fcntl(standard, F_DUPFD_CLOEXEC, 0);
    }
    error_code failure;
    stream.assign(descriptor, failure);
    if (failure && descriptor >= 0) {
        ::close(descriptor);
    }
}

}  // namespace

StandardInput::StandardInput(boost::asio::io_service& service, std::size_t maxLine, Handler handler)
    : mService(service),
      mMaxLine(maxLine),
      mHandler(std::move(handler)),
      mInput(service),
      mOutput(service),
      mBuffer(maxLine + 1) {}

void StandardInput::Start() {
    Assign(mInput, STDIN_FILENO, O_RDONLY);
    Assign(mOutput, STDOUT_FILENO, O_WRONLY);
    ReadLine();
}

void StandardInput::ReadLine() {
    if (!mInput.is_open()) {
        boost::asio::post(mService, [this] { ReadFileLine(); });
        return;
    }
    boost::asio::async_read_until(mInput, mBuffer, '\n', [this](const error_code& error, std::size_t) {
        if (error == boost::asio::error::not_found) {
            Skip();
        } else if (!error) {
            OnLine(true);
        } else if (error == boost::asio::error::eof && (mBuffer.size() > 0 || mIsSkipping)) {
            OnLine(false);
        }
    });
}

void StandardInput::ReadFileLine() {
    std::string line;
    if (std::getline(std::cin, line)) {
        Answer(std::move(line));
    }
}

void StandardInput::OnLine(bool isWhole) {
    std::istream stream(&mBuffer);
    std::string line;
    std::getline(stream, line);
    if (!mIsSkipping) {
        Answer(std::move(line));
        return;
    }
    mIsSkipping = !isWhole;
    Reply("error the line is longer than " + std::to_string(mMaxLine) + " bytes");
}

void StandardInput::Skip() {
    mIsSkipping = true;
    mBuffer.consume(mBuffer.size());
    ReadLine();
}

void StandardInput::Answer(std::string line) {
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    Reply(mHandler(line));
}

void StandardInput::Reply(const std::string& text) {
    mReply = text + "\n";
    if (!mOutput.is_open()) {
        std::fputs(mReply.c_str(), stdout);
        std::fflush(stdout);
        ReadLine();
        return;
    }
    boost::asio::async_write(mOutput, boost::asio::buffer(mReply),
                             [this](const error_code& error, std::size_t) {
                                 if (error != boost::asio::error::operation_aborted) {
                                     ReadLine();  // with nobody left to read replies, requests still count
                                 }
                             });
}

}  // namespace sim
