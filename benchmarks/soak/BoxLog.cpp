#include "BoxLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace {

constexpr auto kLookAgain = std::chrono::milliseconds(10);
constexpr std::uint64_t kGiveBackBytes = std::uint64_t{1} << 20;

/// What stands behind `key` in the line; null where the key doesn't.
const char* Behind(const std::string& line, const std::string& key) {
    const std::size_t at = line.find(key);
    return at == std::string::npos ? nullptr : line.c_str() + at + key.size();
}

unsigned long NumberBehind(const std::string& line, const std::string& key) {
    const char* const text = Behind(line, key);
    if (text == nullptr) {
        throw std::runtime_error("no '" + key + "' in '" + line + "'");
    }
    return std::stoul(text);
}

}  // namespace

BoxLog::BoxLog(std::string outputPath, std::string logPath)
    : mOutputPath(std::move(outputPath)),
      mLogPath(std::move(logPath)),
      mOutput(mOutputPath, std::ios::binary),
      mWorker([this](Worker& worker) {
          Look();
          const auto begin = std::chrono::steady_clock::now();
          worker.Rest(kLookAgain);
          const auto pause = std::chrono::steady_clock::now() - begin;
          mLongestPauseMs = std::max<long>(
              mLongestPauseMs, std::chrono::duration_cast<std::chrono::milliseconds>(pause).count());
      }) {}

void BoxLog::Look() {
    std::array<char, 65536> chunk;
    mOutput.clear();
    while (mOutput.read(chunk.data(), chunk.size()), mOutput.gcount() > 0) {
        const auto size = static_cast<std::size_t>(mOutput.gcount());
        mRead += size;
        mPiece.append(chunk.data(), size);
        std::size_t begin = 0;
        for (std::size_t end = 0; (end = mPiece.find('\n', begin)) != std::string::npos; begin = end + 1) {
            TakeLine(mPiece.substr(begin, end - begin));
        }
        mPiece.erase(0, begin);
    }
    if (mRead - mGivenBack > kGiveBackBytes) {
        GiveBack(mRead);
    }
    // A fresh file is empty, and it fills less in one look than the former one had.
    struct stat status {};
    if (stat(mLogPath.c_str(), &status) == 0) {
        const auto size = static_cast<std::uint64_t>(status.st_size);
        mCounts.mRotations += size < mLogSize ? 1 : 0;
        mLogSize = size;
    }
}

void BoxLog::TakeLine(const std::string& line) {
    TakeLinkEvent(line);
    const std::string inputParams = "received a set input params msg for input port ";
    const std::string refusedGain = "call to set coarse gain for port ";
    const std::string mute = "received a Talvo 2 command to set output port ";
    if (Behind(line, inputParams) != nullptr) {
        const unsigned long port = NumberBehind(line, inputParams);
        if (port >= kFencePort) {
            mCounts.mFence.at(port - kFencePort) = NumberBehind(line, "input gain ");
        } else {
            CountCommand(port);
        }
    } else if (Behind(line, mute) != nullptr) {
        CountCommand(NumberBehind(line, mute));
    } else if (Behind(line, "received command to set output gain to ") != nullptr) {
        CountCommand(NumberBehind(line, "for port "));
    } else if (const char* const router = Behind(line, "processing a Talvo2 output port bitmap from T2 ")) {
        ++mCounts.mCommands[*router == 'P' ? 0 : 1];
    } else if (Behind(line, refusedGain) != nullptr) {
        ++mCounts.mRefusedGains.at(NumberBehind(line, refusedGain));
    } else if (Behind(line, "TalvoKLVStream::OnAccept: ") != nullptr) {
        ++mCounts.mStreams;
    } else if (Behind(line, "Brindlet: handling active router change ") != nullptr) {
        ++mCounts.mFailOvers;
    } else if (Behind(line, "it doesn't read what it is sent") != nullptr) {
        ++mCounts.mDroppedClients;
    } else if (Behind(line, "Assert failed in file") != nullptr) {
        ++mCounts.mAsserts;
    }
}

void BoxLog::TakeLinkEvent(const std::string& line) {
    constexpr std::size_t kKept = 24;
    for (const char* event :
         {"Remote device ", "TalvoKLVStream", "KLV stream", "Link Change", "changing active"}) {
        if (Behind(line, event) != nullptr && Behind(line, "NOT present") == nullptr) {
            const std::lock_guard lock(mMutex);
            mLinkEvents.push_back(line);
            if (mLinkEvents.size() > kKept) {
                mLinkEvents.pop_front();
            }
            return;
        }
    }
}

std::string BoxLog::LinkEvents() const {
    const std::lock_guard lock(mMutex);
    std::string text;
    for (const std::string& line : mLinkEvents) {
        text += "    " + line + "\n";
    }
    return text;
}

void BoxLog::CountCommand(unsigned long port) {
    ++mCounts.mCommands.at(port / kPortsEach);
}

/// Where the file system can't, the file stays as it is.
void BoxLog::GiveBack(std::uint64_t end) {
    const int descriptor = open(mOutputPath.c_str(), O_WRONLY | O_CLOEXEC);
    fallocate(descriptor, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(mGivenBack),
              static_cast<off_t>(end - mGivenBack));
    close(descriptor);
    mGivenBack = end;
}
