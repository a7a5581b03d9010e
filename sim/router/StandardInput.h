#pragma once

#include <boost/asio/io_service.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/streambuf.hpp>
#include <cstddef>
#include <functional>
#include <string>

namespace sim {

/// Requests on standard input, a line each, with their replies on standard output. Takes the next request
/// when the reply to the last one is out, so nobody who doesn't read the replies holds anything else up. The
/// input's end ends nothing. On its service's thread.
class StandardInput {
  public:
    using Handler = std::function<std::string(const std::string& line)>;

    /// A line may have `maxLine` bytes; a longer one gets an error and is skipped.
    StandardInput(boost::asio::io_service& service, std::size_t maxLine, Handler handler);
    StandardInput(const StandardInput&) = delete;
    StandardInput& operator=(const StandardInput&) = delete;

    void Start();

  private:
    using Descriptor = boost::asio::posix::stream_descriptor;

    void ReadLine();
    void ReadFileLine();
    void OnLine(bool isWhole);
    void Skip();
    void Answer(std::string line);
    void Reply(const std::string& text);

    boost::asio::io_service& mService;
    const std::size_t mMaxLine;
    const Handler mHandler;
    Descriptor mInput;   ///< closed where standard input is a file, which can't be waited for and needn't be
    Descriptor mOutput;  ///< likewise
    boost::asio::streambuf mBuffer;
    bool mIsSkipping = false;
    std::string mReply;
};

}  // namespace sim
