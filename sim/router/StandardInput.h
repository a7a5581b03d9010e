#pragma once

#include <boost/asio/io_service.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/streambuf.hpp>
#include <functional>
#include <string>

namespace sim {

/// Requests on standard input, a line each, with their replies on standard output. Its end ends nothing. On
/// its service's thread.
class StandardInput {
  public:
    using Handler = std::function<std::string(const std::string& line)>;

    StandardInput(boost::asio::io_service& service, Handler handler);

    void Start();

  private:
    void ReadAll();
    void ReadLine();
    void Answer(std::string line);

    boost::asio::posix::stream_descriptor mInput;
    boost::asio::streambuf mBuffer;
    const Handler mHandler;
};

}  // namespace sim
