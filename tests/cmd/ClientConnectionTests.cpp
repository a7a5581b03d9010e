#include "ClientConnection.h"

#include <gtest/gtest.h>

#include <boost/asio/io_service.hpp>
#include <string>
#include <utility>

#include "RawTcpClient.h"

using boost::asio::ip::tcp;
using cmd::ClientConnection;

TEST(ClientConnection, IsDroppedEarlierWhereMuchWaitsForAllUnlessItReads) {
    boost::asio::io_service io;
    tcp::acceptor acceptor(io, {boost::asio::ip::address_v4::loopback(), 0});
    const std::string text(ClientConnection::kUnsentWhenFull + 1, 'x');
    for (const bool reads : {true, false}) {
        for (const std::size_t others : {ClientConnection::kMaxUnsentToAll, std::size_t{0}}) {
            const RawTcpClient client(acceptor.local_endpoint().port());
            const auto unsentToAll = std::make_shared<std::size_t>(others);
            const auto connection =
                std::make_shared<ClientConnection>(acceptor.accept(), '\n', unsentToAll, nullptr);
            connection->Send(text);
            EXPECT_EQ(connection->DropReason(), nullptr) << "nothing waited for it before";
            EXPECT_EQ(*unsentToAll, others + text.size());
            if (reads) {
                io.restart();
                io.poll();
                EXPECT_EQ(*unsentToAll, others) << "the system's buffers take it";
            }
            connection->Send("more");
            EXPECT_EQ(connection->DropReason() != nullptr, !reads && others != 0);
            io.restart();
            io.poll();
            EXPECT_EQ(*unsentToAll, others);
        }
    }
}
