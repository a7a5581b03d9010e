#include "BenchPort.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <boost/asio/io_service.hpp>
#include <boost/asio/post.hpp>
#include <future>
#include <system_error>
#include <thread>

#include "BenchConnection.h"
#include "Board.h"
#include "EventLoopLink.h"
#include "OpenNode.h"
#include "ScopedFolder.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// A client on a real socket; every read gives up after ten seconds.
class BenchClient {
  public:
    explicit BenchClient(const std::string& address) {
        const std::size_t colon = address.find(':');
        sockaddr_in peer = {};
        peer.sin_family = AF_INET;
        peer.sin_port = htons(static_cast<std::uint16_t>(std::stoi(address.substr(colon + 1))));
        ::inet_pton(AF_INET, address.substr(0, colon).c_str(), &peer.sin_addr);
        if (::connect(mSocket, reinterpret_cast<sockaddr*>(&peer), sizeof peer) != 0) {
            throw std::system_error(errno, std::generic_category(), "connect");
        }
    }
    ~BenchClient() { ::close(mSocket); }
    BenchClient(const BenchClient&) = delete;
    BenchClient& operator=(const BenchClient&) = delete;

    void Send(const std::string& bytes) {
        ASSERT_EQ(::send(mSocket, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }

    /// Sends what fits without waiting; returns how much that was.
    std::size_t SendSome(const std::string& bytes) {
        const ssize_t sent = ::send(mSocket, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        return sent > 0 ? static_cast<std::size_t>(sent) : 0;
    }

    /// The next line, without its end; "<end>" where the connection ended, "<silence>" where nothing comes.
    std::string Line() {
        std::size_t end = 0;
        while ((end = mReceived.find('\n')) == std::string::npos) {
            pollfd poll{mSocket, POLLIN, 0};
            if (::poll(&poll, 1, 10000) != 1) {
                return "<silence>";
            }
            char chunk[4096];
            const ssize_t count = ::recv(mSocket, chunk, sizeof chunk, 0);
            if (count <= 0) {
                return "<end>";
            }
            mReceived.append(chunk, static_cast<std::size_t>(count));
        }
        std::string line = mReceived.substr(0, end);
        mReceived.erase(0, end + 1);
        return line;
    }

    std::string Ask(const std::string& request) {
        Send(request + "\n");
        return Line();
    }

  private:
    int mSocket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::string mReceived;
};

class Bench : public testing::Test {
  protected:
    Bench() { mPort.Start(); }

    sim::Board mBoard{sim::BoardSettings{}};
    sim::EventLoopLink mLoop;
    sim::BenchPort mPort{{"127.0.0.1", 0}, mBoard, mLoop};
};

/// A bench with an event loop that runs on a thread.
class BenchWithLoop : public Bench {
  protected:
    BenchWithLoop() {
        mLoop.Attach(&mService);
        mThread = std::thread([this] { mService.run(); });
    }
    ~BenchWithLoop() override {
        mLoop.Attach(nullptr);
        mService.stop();
        mThread.join();
    }

    boost::asio::io_service mService;
    boost::asio::io_service::work mWork{mService};
    std::thread mThread;
};

struct Exchange {
    const char* mRequest;
    const char* mReply;
};

}  // namespace

TEST_F(Bench, AnswersEachRequestAsItSays) {
    const Exchange exchanges[] = {
        {"read 0010 0x18", "ok 0x000004d2"},
        {"read 000d 4", "ok 0x00000004"},
        {"read 0003 0x38", "ok 0x00000000"},
        {"word 0009 0x80000", "ok 0x00000004"},
        {"dip 0xff", "ok"},
        {"word 0009 0x80000", "ok 0x000003fc"},
        {"set 0007 0x90004 4294967295", "ok"},
        {"word 0007 0x90004", "ok 0xffffffff"},
        {"set 000A 0x80004 0x1000", "ok"},
        {"word 000a 0x80004", "ok 0x00001000"},
        {"irq 0004 4", "ok"},
        {"read 0004 0x18", "ok 0x00000010"},
        {"psu reading 4095", "ok"},
        {"psu line fault", "ok"},
        {"psu protection fault", "ok"},
        {"word 000A 0x80000", "ok 0x00001fff"},
        {"psu line ok", "ok"},
        {"psu protection ok", "ok"},
        {"word 000A 0x80000", "ok 0x00002fff"},
        {"measure 3 0xabcdef", "ok"},
        {"word 0004 0x30000", "ok 0xabcdef03"},
        {"pll locked", "ok"},
        {"read 0004 0x3C", "ok 0x00000008"},
        {"pll unlocked", "ok"},
        {"read 0004 0x3c", "ok 0x00000000"},
        {"sync hold", "ok"},
        {"sync release", "ok"},
        {"sync auto", "ok"},
        {"table 2046 2047", "ok 0x00000000 0x00000000"},
        {"hear 7 511", "ok none"},
        {"trace off", "ok"},
        {" \tdip \t 1 \t\r", "ok"},
    };
    BenchClient client(mPort.Address());
    for (const Exchange& exchange : exchanges) {
        EXPECT_EQ(client.Ask(exchange.mRequest), exchange.mReply) << exchange.mRequest;
    }
    EXPECT_EQ(client.Ask("state"), "ok " + mBoard.StateText());
    EXPECT_THAT(client.Ask("help"), StartsWith("ok help; read IDENTITY OFFSET; word IDENTITY ADDRESS; "));
    EXPECT_TRUE(mBoard.Violations().empty()) << "the bench's own accesses are none of the application's";
}

TEST_F(Bench, RefusesABadRequestAndChangesNothing) {
    const Exchange exchanges[] = {
        {"", "error the line is empty; 'help' names the requests"},
        {" \t", "error the line is empty; 'help' names the requests"},
        {"jump", "error unknown request 'jump'; 'help' names the requests"},
        {"State", "error unknown request 'State'; 'help' names the requests"},
        {"link 0 down", "error unknown request 'link'; 'help' names the requests"},
        {"state now", "error usage: state"},
        {"dip", "error usage: dip N"},
        {"dip 1 2", "error usage: dip N"},
        {"dip 256", "error N '256' isn't a number from 0 to 255"},
        {"dip 0x100", "error N '0x100' isn't a number from 0 to 255"},
        {"dip -1", "error N '-1' isn't a number from 0 to 255"},
        {"dip 99999999999999999999", "error N '99999999999999999999' isn't a number from 0 to 255"},
        {"read 0005 0x18", "error the board has no node '0005'"},
        {"read 0003 0x44", "error 0003 has no register at 0x44"},
        {"read 0003 x", "error OFFSET 'x' isn't a number from 0 to 4294967295"},
        {"word 0003 0xC2000", "error 0003 has no word at 0xc2000"},
        {"word 0010 0", "error 0010 has no word at 0x0"},
        {"set 0009 0x60002 1", "error 0009 has no word at 0x60002"},
        {"set 0009 0x60000 0x100000000", "error VALUE '0x100000000' isn't a number from 0 to 4294967295"},
        {"irq 0003 32", "error ID '32' isn't a number from 0 to 31"},
        {"irq 0010 0", "error 0010 has no interrupts"},
        {"psu reading 4096", "error N '4096' isn't a number from 0 to 4095"},
        {"psu line broken", "error 'broken' isn't one of ok fault"},
        {"psu mains ok", "error 'mains' isn't one of reading line protection"},
        {"psu reading", "error usage: psu reading N, psu line ok|fault, psu protection ok|fault"},
        {"measure 256 1", "error CLOCK '256' isn't a number from 0 to 255"},
        {"measure 1 0x1000000", "error COUNT '0x1000000' isn't a number from 0 to 16777215"},
        {"pll 1", "error '1' isn't one of locked unlocked"},
        {"sync now", "error 'now' isn't one of auto hold release"},
        {"wait 0", "error MS '0' isn't a number from 1 to 3600000"},
        {"table 5 2", "error LAST '2' isn't a number from 5 to 2047"},
        {"table 0 2048", "error LAST '2048' isn't a number from 0 to 2047"},
        {"hear 8 0", "error ADDRESS '8' isn't a number from 0 to 7"},
        {"hear 0 512", "error SAMPLE '512' isn't a number from 0 to 511"},
        {"trace", "error usage: trace FILE|off"},
        {"trace /nosuch/folder/a b",
         "error cannot write the register trace '/nosuch/folder/a b': No such file or directory"},
    };
    const std::string before = mBoard.StateText();
    BenchClient client(mPort.Address());
    for (const Exchange& exchange : exchanges) {
        EXPECT_EQ(client.Ask(exchange.mRequest), exchange.mReply) << exchange.mRequest;
    }
    EXPECT_EQ(client.Ask(std::string("trace a\0b", 9)), "error 'a\\x00b' isn't a file's name");
    EXPECT_EQ(client.Ask("\xff\x01"), "error unknown request '\\xff\\x01'; 'help' names the requests");
    EXPECT_THAT(client.Ask(std::string(5000, 'a')), HasSubstr("aaa...'; 'help'"));
    EXPECT_EQ(mBoard.StateText(), before);
}

TEST_F(Bench, TellsWhereTheSoundComesFrom) {
    OpenNode adma(mBoard, "0003");
    const std::uint32_t table[] = {4U << 9 | 511, 7U << 21 | 511U << 12 | 4U << 9};
    adma.Write(0x24, 0xC0000);
    adma.Window().WriteRun(0x20, table, 2);
    BenchClient client(mPort.Address());
    client.Ask("sync hold");
    adma.Write(0x38, 0x20);
    EXPECT_EQ(client.Ask("hear 4 0"), "ok none");
    client.Ask("sync release");
    EXPECT_EQ(client.Ask("hear 4 0"), "ok 7 511");
    EXPECT_EQ(client.Ask("hear 4 511"), "ok silence");
    EXPECT_EQ(client.Ask("table 0 1"), "ok 0x000009ff 0x00fff800");
}

TEST_F(Bench, TracesIntoAFileWhoseNameHasBlanks) {
    const ScopedFolder folder;
    BenchClient client(mPort.Address());
    EXPECT_EQ(client.Ask("trace " + folder / "a b  c" + "  "), "ok");
    OpenNode(mBoard, "0009").Read(0x3C);
    EXPECT_THAT(ContentOf(folder / "a b  c"), HasSubstr(" 0009 R 0x3c 0x00000000\n"));
}

TEST_F(Bench, PutsLinesTogetherAndRepliesInOrder) {
    BenchClient client(mPort.Address());
    client.Send("di");
    client.Send("p 7");
    client.Send("\nhear 0 0\nnonsense\r\n\nread 0010 0x1");
    EXPECT_EQ(client.Line(), "ok");
    EXPECT_EQ(client.Line(), "ok none");
    EXPECT_THAT(client.Line(), StartsWith("error unknown request 'nonsense'"));
    EXPECT_THAT(client.Line(), StartsWith("error the line is empty"));
    client.Send("8\n");
    EXPECT_EQ(client.Line(), "ok 0x000004d2");
}

TEST_F(Bench, EndsAConnectionWhoseLineNeverEnds) {
    BenchClient client(mPort.Address());
    BenchClient other(mPort.Address());
    client.Send("dip 3\n" + std::string(sim::BenchConnection::kMaxLine + 1, 'x'));
    EXPECT_EQ(client.Line(), "ok");
    EXPECT_EQ(client.Line(), "error the line is longer than 65536 bytes; the connection ends");
    EXPECT_EQ(client.Line(), "<end>");
    EXPECT_THAT(other.Ask("dip " + std::string(sim::BenchConnection::kMaxLine - 4, '1')),
                StartsWith("error N '1111"))
        << "one of just that length is a line like any other";
    EXPECT_EQ(other.Ask("dip 4"), "ok");
}

TEST_F(Bench, IsNotHeldUpByAClientThatNeverReads) {
    BenchClient deaf(mPort.Address());
    const std::string requests = [] {
        std::string lines;
        for (int n = 0; n < 200; ++n) {
            lines += "table 0 2047\n";
        }
        return lines;
    }();
    std::size_t sent = 0;
    for (int n = 0; n < 100; ++n) {
        sent += deaf.SendSome(requests);
    }
    BenchClient client(mPort.Address());
    EXPECT_EQ(client.Ask("dip 5"), "ok");
    EXPECT_GT(sent, 0U);
}

TEST_F(Bench, TurnsAwayOneClientTooMany) {
    std::vector<std::unique_ptr<BenchClient>> clients;
    for (unsigned n = 0; n < sim::BenchPort::kMaxClients; ++n) {
        clients.push_back(std::make_unique<BenchClient>(mPort.Address()));
        ASSERT_EQ(clients.back()->Ask("dip 1"), "ok");
    }
    EXPECT_EQ(BenchClient(mPort.Address()).Line(), "error too many clients; the connection ends");
    clients.pop_back();
    std::string reply;
    for (int attempt = 0; attempt < 1000 && reply != "ok"; ++attempt) {
        BenchClient next(mPort.Address());  // the place comes free when the port has noticed the end
        next.SendSome("dip 1\n");
        reply = next.Line();
    }
    EXPECT_EQ(reply, "ok");
}

TEST_F(Bench, RefusesAPortThatIsTaken) {
    const std::string address = mPort.Address();
    const auto port = static_cast<std::uint16_t>(std::stoi(address.substr(address.find(':') + 1)));
    try {
        const sim::BenchPort second({"127.0.0.1", port}, mBoard, mLoop);
        ADD_FAILURE() << "two on one port";
    } catch (const std::system_error& error) {
        EXPECT_EQ(std::string(error.what()), "cannot listen on " + address + ": Address already in use");
    }
}

TEST_F(Bench, WaitsForAnEventLoopThatIsStillToCome) {
    BenchClient client(mPort.Address());
    EXPECT_THAT(client.Ask("wait 20"), StartsWith("error not idle after 20 ms: "));
    client.Send("wait\n");
    boost::asio::io_service service;
    mLoop.Attach(&service);
    std::thread loop([&service] {
        const boost::asio::io_service::work work(service);
        service.run();
    });
    EXPECT_EQ(client.Line(), "ok");
    service.stop();
    loop.join();
    mLoop.Attach(nullptr);
    EXPECT_EQ(client.Ask("wait"), "error the application's event loop has ended");
}

TEST_F(Bench, StopsWhileAClientWaits) {
    boost::asio::io_service neverRuns;
    auto port = std::make_unique<sim::BenchPort>(sim::BenchEndpoint{"127.0.0.1", 0}, mBoard, mLoop);
    port->Start();
    mLoop.Attach(&neverRuns);
    BenchClient client(port->Address());
    client.Send("wait 60000\n");
    BenchClient other(port->Address());
    EXPECT_EQ(other.Ask("dip 1"), "ok") << "the port has come past the wait";
    port.reset();
    EXPECT_EQ(client.Line(), "<end>");
    mLoop.Attach(nullptr);
    neverRuns.poll();
}

TEST_F(BenchWithLoop, WaitsUntilTheLoopHasRunWhatWasPosted) {
    std::promise<void> go;
    std::atomic<bool> hasRun{false};
    boost::asio::post(mService, [&] {
        go.get_future().wait();
        boost::asio::post(mService, [&] { hasRun = true; });
    });
    BenchClient client(mPort.Address());
    client.Send("wait\nhear 0 0\n");
    BenchClient other(mPort.Address());
    EXPECT_EQ(other.Ask("wait 20"),
              "error not idle after 20 ms: the event loop hasn't run what was posted to it");
    go.set_value();
    EXPECT_EQ(client.Line(), "ok");
    EXPECT_EQ(client.Line(), "ok none");
    EXPECT_EQ(other.Ask("wait"), "ok");
    EXPECT_TRUE(hasRun);
}

TEST_F(BenchWithLoop, WaitsUntilInterruptsAreServed) {
    OpenNode power(mBoard, "000A");
    power.Write(0x30, 0x1);
    BenchClient client(mPort.Address());
    EXPECT_EQ(client.Ask("irq 000A 0"), "ok");
    EXPECT_EQ(client.Ask("wait 20"), "error not idle after 20 ms: interrupt 0 of 000A is pending");
    client.Send("wait\n");
    power.Write(0x34, 0x1);
    EXPECT_EQ(client.Line(), "ok");
}

TEST_F(BenchWithLoop, WaitsForAChangeOverUnlessItIsHeld) {
    OpenNode adma(mBoard, "0003");
    BenchClient client(mPort.Address());
    adma.Write(0x38, 0x20);
    EXPECT_EQ(client.Ask("wait"), "ok");
    EXPECT_THAT(client.Ask("state"), HasSubstr(R"("syncing":false,"syncs":1)"));
    client.Ask("sync hold");
    adma.Write(0x38, 0x00);
    adma.Write(0x38, 0x20);
    EXPECT_EQ(client.Ask("wait"), "ok");
    EXPECT_THAT(client.Ask("state"), HasSubstr(R"("syncing":true,"syncs":1)"));
}

TEST_F(BenchWithLoop, GivesAWaitUpWhenTheLoopGoes) {
    std::promise<void> go;
    boost::asio::post(mService, [&] { go.get_future().wait(); });
    BenchClient client(mPort.Address());
    client.Send("wait 60000\n");
    mLoop.Attach(nullptr);
    EXPECT_THAT(client.Line(), StartsWith("error the application's event loop has ended"));
    go.set_value();
}
