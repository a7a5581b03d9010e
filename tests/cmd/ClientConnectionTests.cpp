#include "ClientConnection.h"

#include <gtest/gtest.h>

#include <boost/asio/error.hpp>
#include <boost/asio/io_service.hpp>
#include <memory>
#include <string>
#include <utility>

#include "RawTcpClient.h"

using boost::asio::ip::tcp;
using cmd::ClientConnection;

TEST(ClientConnection, IsDroppedEarlierWhereMuchWaitsForAllUnlessItReads) {
    boost::asio::io_service io;
    tcp::acceptor acceptor(io, {boost::asio::ip::address_v4::loopback(), 0});
    const std::string text(ClientConnection::kUnsentWhenFull, 'x');
    for (const bool reads : {true, false}) {
        for (const std::size_t others : {ClientConnection::kMaxUnsentToAll, std::size_t{0}}) {
            const RawTcpClient client(acceptor.local_endpoint().port());
            const auto unsentToAll = std::make_shared<std::size_t>(others);
            const auto connection =
                std::make_shared<ClientConnection>(acceptor.accept(), '\n', unsentToAll, nullptr);
            connection->Send(text);
            EXPECT_EQ(*unsentToAll, others + text.size());
            if (reads) {
                io.restart();
                io.poll();
                EXPECT_EQ(*unsentToAll, others) << "the system's buffers take it";
            }
            connection->Send("");
            EXPECT_EQ(connection->DropReason(), nullptr) << "so much may wait for each, whatever the others";
            connection->Send("more");
            EXPECT_EQ(connection->DropReason() != nullptr, !reads && others != 0);
            io.restart();
            io.poll();
            EXPECT_EQ(*unsentToAll, others);
        }
    }
}

TEST(ClientConnection, MayHaveMoreAsSoonAsItHasReadALittle) {
    boost::asio::io_service io;
    tcp::acceptor acceptor(io, {boost::asio::ip::address_v4::loopback(), 0});
    RawTcpClient client(acceptor.local_endpoint().port());
    tcp::socket socket = acceptor.accept();
    socket.set_option(tcp::socket::send_buffer_size(1));
    const auto unsentToAll = std::make_shared<std::size_t>(0);
    const auto connection = std::make_shared<ClientConnection>(std::move(socket), '\n', unsentToAll, nullptr);
    connection->Send(std::string(ClientConnection::kMaxUnsent, 'x'));
    std::size_t read = 0;
    while (read < ClientConnection::kMaxUnsent / 2) {
        io.restart();
        io.poll();
        read += client.ReceiveAvailable().size();
    }
    EXPECT_LE(*unsentToAll, ClientConnection::kMaxUnsent - read);
    EXPECT_GT(*unsentToAll, 0U);
    connection->Send(std::string(read, 'y'));
    EXPECT_EQ(connection->DropReason(), nullptr);
    connection->Send(std::string(ClientConnection::kMaxUnsent, 'z'));
    EXPECT_NE(connection->DropReason(), nullptr);
    io.restart();
    io.poll();
    EXPECT_EQ(*unsentToAll, 0U);
}

TEST(ClientConnection, GoesInTimeAlsoWhereTextComesAfterTheEndOfAClientThatDoesNotRead) {
    boost::asio::io_service io;
    tcp::acceptor acceptor(io, {boost::asio::ip::address_v4::loopback(), 0});
    RawTcpClient client(acceptor.local_endpoint().port());
    tcp::socket socket = acceptor.accept();
    socket.set_option(tcp::socket::send_buffer_size(1));
    bool hasEnded = false;
    auto connection = std::make_shared<ClientConnection>(
        std::move(socket), '\n', std::make_shared<std::size_t>(0),
        [&hasEnded](const auto&, const boost::system::error_code& error, const std::string&) {
            hasEnded = error == boost::asio::error::eof;
        });
    connection->Start("");
    client.EndSending();
    while (!hasEnded) {
        io.run_one();
    }
    connection->Send(std::string(ClientConnection::kMaxUnsent, 'x'));
    const std::weak_ptr<ClientConnection> weak = std::exchange(connection, nullptr);
    io.restart();
    io.run_for(2 * ClientConnection::kLastRead);
    EXPECT_TRUE(weak.expired());
}
