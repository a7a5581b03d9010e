#include "LineClient.h"

#include <boost/asio/io_service.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <stdexcept>

namespace {

constexpr auto kPatience = std::chrono::seconds(10);

}  // namespace

struct LineClient::Closed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct LineClient::Connection {
    boost::asio::io_service mIo;
    boost::asio::ip::tcp::socket mSocket{mIo};
};

LineClient::LineClient(std::uint16_t port) : mConnection(std::make_unique<Connection>()) {
    mConnection->mSocket.connect({boost::asio::ip::address_v4::loopback(), port});
}

LineClient::~LineClient() = default;

void LineClient::Send(const std::string& bytes) {
    boost::asio::write(mConnection->mSocket, boost::asio::buffer(bytes));
}

std::string LineClient::ReadUntil(const std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    std::size_t found = mInput.find(text);
    while (found == std::string::npos) {
        Receive(deadline);
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
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    try {
        while (true) {
            Receive(deadline);
        }
    } catch (const Closed&) {
        return mInput;
    }
}

void LineClient::EndSending() {
    mConnection->mSocket.shutdown(boost::asio::socket_base::shutdown_send);
}

void LineClient::Close() {
    mConnection->mSocket.close();
}

void LineClient::Reset() {
    mConnection->mSocket.set_option(boost::asio::socket_base::linger(true, 0));
    Close();
}

void LineClient::Receive(std::chrono::steady_clock::time_point deadline) {
    char bytes[4096];
    boost::system::error_code error = boost::asio::error::would_block;
    std::size_t size = 0;
    boost::asio::io_service& io = mConnection->mIo;
    mConnection->mSocket.async_read_some(boost::asio::buffer(bytes),
                                         [&](boost::system::error_code result, std::size_t got) {
                                             error = result;
                                             size = got;
                                         });
    io.restart();
    io.run_until(deadline);
    if (error == boost::asio::error::would_block) {
        mConnection->mSocket.cancel();
        io.restart();
        io.run();
        throw std::runtime_error("nothing more came after '" + mInput + "'");
    }
    if (error) {
        throw Closed("closed after '" + mInput + "'");
    }
    mInput.append(bytes, size);
}
