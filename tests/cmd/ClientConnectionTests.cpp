#include "ClientConnection.h"

#include <gtest/gtest.h>

#include <boost/asio/io_service.hpp>
#include <memory>
#include <string>
#include <vector>

#include "LineClient.h"

namespace {

using cmd::ClientConnection;

TEST(Connection, IsDroppedByTheFirstByteAboveTheLimitThenTakesNoMoreLinesAndReportsItsEndOnce) {
    boost::asio::io_service io;
    boost::asio::ip::tcp::acceptor acceptor{io, {boost::asio::ip::address_v4::loopback(), 0}};
    LineClient client{acceptor.local_endpoint().port()};
    std::vector<std::string> events;
    const auto connection = std::make_shared<ClientConnection>(
        acceptor.accept(), '\n', [&events](const auto& /*connection*/, const auto& error, const auto& line) {
            events.push_back(error ? "end" : line);
        });
    connection->Start("");
    client.Send("one\ntwo\n");
    while (events.empty()) {
        io.run_one();
    }
    connection->Send(std::string(ClientConnection::kMaxUnsent, 'x'));
    EXPECT_EQ(connection->DropReason(), nullptr);
    connection->Send("x");
    EXPECT_NE(connection->DropReason(), nullptr);
    connection->Send("nobody hears this");
    connection->Drop("again");
    io.run();
    EXPECT_EQ(events, (std::vector<std::string>{"one", "end"}));
}

}  // namespace
