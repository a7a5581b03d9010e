#include "KLVTCPStream.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "Bytes.h"
#include "CapturedLog.h"
#include "EventTimerManager.h"
#include "KLVCommandSets.h"
#include "ListenSocket.h"
#include "RawTcpClient.h"
#include "SocketHandler.h"
#include "StdoutLog.h"

using testing::Each;
using testing::ElementsAre;

namespace {

class RecordingStream;

/// Serves the streams of a test, on the test's own thread, and keeps what they got.
class RecordingHandler : public SocketHandler {
  public:
    using SocketHandler::SocketHandler;
    ~RecordingHandler() override { CloseAll(); }

    template <class Predicate>
    bool RunUntil(const Predicate& done) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!done()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            Select(0, 20000);
        }
        return true;
    }

    std::vector<std::string> mMessages;  ///< header and value of each, in hexadecimal
    std::size_t mTaken = 1;              ///< of each value, as many bytes are read; the default is all
    std::vector<RecordingStream*> mStreams;
    bool mPausesAfterEach = false;
};

class RecordingStream : public KLVTCPStream {
  public:
    explicit RecordingStream(ISocketHandler& handler)
        : KLVTCPStream(handler), mOwner(dynamic_cast<RecordingHandler&>(handler)) {
        mOwner.mStreams.push_back(this);
    }
    ~RecordingStream() override { mOwner.mStreams.clear(); }

  protected:
    int ProcessKey(std::uint32_t keyType) override { return ProcessKey(keyType, *this); }

    int ProcessKey(std::uint32_t keyType, DataStream& stream) override {
        if (keyType != klv_key::kDeskCommand) {
            return 0;
        }
        std::string header(8, '\0');
        EXPECT_TRUE(stream.ReadData(header.data(), header.size()));
        std::uint32_t length = 0;
        std::memcpy(&length, header.data() + 4, sizeof length);
        std::string value(mOwner.mTaken == 0 ? 0 : length, '\0');
        EXPECT_TRUE(value.empty() || stream.ReadData(value.data(), value.size()));
        mOwner.mMessages.push_back(HexOf(header + value));
        if (mOwner.mPausesAfterEach) {
            SetReadPaused(true);
        }
        return 1;
    }

  private:
    RecordingHandler& mOwner;
};

std::string MessageOf(std::uint32_t key, const std::string& value) {
    std::string bytes(8, '\0');
    const auto length = static_cast<std::uint32_t>(value.size());
    std::memcpy(bytes.data(), &key, sizeof key);
    std::memcpy(bytes.data() + 4, &length, sizeof length);
    return bytes + value;
}

constexpr std::uint32_t kKey = 0x28000337;

class Stream : public testing::Test {
  protected:
    Stream() {
        auto listener = std::make_unique<ListenSocket<RecordingStream>>(mHandler);
        EXPECT_EQ(listener->Bind(0, 5), 0);
        mPort = listener->Port();
        listener->SetDeleteByHandler();
        mHandler.Add(listener.release());
    }

    bool AwaitMessages(std::size_t count) {
        return mHandler.RunUntil([this, count] { return mHandler.mMessages.size() >= count; });
    }

    RecordingStream& Accepted() {
        EXPECT_TRUE(mHandler.RunUntil(
            [this] { return !mHandler.mStreams.empty() && mHandler.mStreams.front()->IsConnected(); }));
        return *mHandler.mStreams.front();
    }

    CapturedLog mLog;
    StdoutLog mSocketLog;
    RecordingHandler mHandler{mSocketLog};
    std::uint16_t mPort = 0;
};

}  // namespace

TEST_F(Stream, PutsMessagesTogetherHoweverTheyAreSplit) {
    const std::string first = MessageOf(kKey, "abcde");
    const std::string second = MessageOf(kKey + 1, "");
    const std::string third = MessageOf(kKey + 2, "fgh");
    const std::string all = first + second + third;
    RawTcpClient client(mPort);
    RecordingStream& stream = Accepted();
    for (std::size_t split = 1; split < all.size(); ++split) {
        const std::size_t whole =
            (split >= first.size() ? 1 : 0) + (split >= first.size() + second.size() ? 1 : 0);
        mHandler.mMessages.clear();
        client.Send(all.substr(0, split));
        ASSERT_TRUE(AwaitMessages(whole));
        mHandler.Select(0, 1000);
        client.Send(all.substr(split));
        ASSERT_TRUE(AwaitMessages(3)) << "split at " << split;
        EXPECT_THAT(mHandler.mMessages, ElementsAre(HexOf(first), HexOf(second), HexOf(third))) << split;
    }
    EXPECT_EQ(stream.BytesRead(), 0U) << "only read sets count";
}

TEST_F(Stream, TakesMessagesUpToSixteenMebibytesAndEndsWhereAHeaderAnnouncesMore) {
    for (const std::uint32_t length :
         {KLVTCPStream::kMaxDirectLength, KLVTCPStream::kMaxDirectLength + 1, KLVTCPStream::kMaxLength}) {
        std::string value(length, '\0');
        for (std::size_t i = 0; i < value.size(); ++i) {
            value[i] = static_cast<char>(i * 7 + i / 256);
        }
        const std::string message = MessageOf(kKey, value);
        mHandler.mMessages.clear();
        {
            RawTcpClient client(mPort);
            std::thread sender([&] { client.Send(message + MessageOf(kKey, "next")); });
            EXPECT_TRUE(AwaitMessages(2)) << length;
            sender.join();
        }
        ASSERT_EQ(mHandler.mMessages.size(), 2U);
        EXPECT_TRUE(mHandler.mMessages[0] == HexOf(message)) << length;
        EXPECT_EQ(mHandler.mMessages[1], HexOf(MessageOf(kKey, "next")));
    }
    RawTcpClient client(mPort);
    client.Send(BytesOf("37030028 01000001"));
    EXPECT_TRUE(mHandler.RunUntil([&] {
        return mLog.Count(
                   "KLVTCPStream: 127.0.0.1 announces a message of 16777217 bytes, ending the stream") == 1;
    }));
    EXPECT_TRUE(mHandler.RunUntil([this] { return mHandler.mStreams.empty(); }));
    EXPECT_TRUE(client.AwaitEnd());
}

TEST_F(Stream, SkipsKindsOfMessagesThatItDoesNotKnow) {
    RawTcpClient client(mPort);
    client.Send(MessageOf(0x30000001, "abc") +
                MessageOf(0x30000001, std::string(KLVTCPStream::kMaxDirectLength + 1, 'x')) +
                MessageOf(kKey, "known"));
    ASSERT_TRUE(AwaitMessages(1));
    EXPECT_THAT(mHandler.mMessages, ElementsAre(HexOf(MessageOf(kKey, "known"))));
    EXPECT_THAT(mLog.Lines(),
                ElementsAre("KLVTCPStream::OnRead() (Length <= 262144): Could not process key type 0x6\n",
                            "Skipping 11 bytes of data\n",
                            "KLVTCPStream::OnRead() (Length > 262144): Could not process key type 0x6\n",
                            "Skipping 241657 bytes of data\n", "Skipping 241649 bytes of data\n"));
}

TEST_F(Stream, DiscardsWhatTheReaderLeaves) {
    mHandler.mTaken = 0;
    RawTcpClient client(mPort);
    const std::string message = MessageOf(kKey, "nobody wants this");
    client.Send(message + message + message);
    ASSERT_TRUE(AwaitMessages(3));
    EXPECT_THAT(mHandler.mMessages, Each(HexOf(message.substr(0, 8))));
}

TEST_F(Stream, LosesNothingWhereReadingPausesAndThePeerCloses) {
    mHandler.mPausesAfterEach = true;
    RawTcpClient client(mPort);
    RecordingStream& stream = Accepted();
    const std::string message = MessageOf(kKey, "x");
    client.Send(message + message + message);
    client.EndSending();
    for (std::size_t count = 1; count <= 3; ++count) {
        ASSERT_TRUE(AwaitMessages(count));
        mHandler.Select(0, 1000);
        EXPECT_EQ(mHandler.mMessages.size(), count) << "paused";
        ASSERT_EQ(mHandler.mStreams.size(), 1U) << "still there";
        stream.SetReadPaused(false);
    }
    EXPECT_TRUE(mHandler.RunUntil([this] { return mHandler.mStreams.empty(); }));
}

TEST_F(Stream, GathersOutputUntilTheBufferIsFullOrItIsCommitted) {
    RawTcpClient client(mPort);
    RecordingStream& stream = Accepted();
    stream.SetCoalesce(10, 5);
    stream.WriteData("abc", 3);
    EXPECT_EQ(client.ReceiveAvailable(), "");
    stream.WriteData("defgh", 5);
    EXPECT_EQ(client.Receive(5), "abcde");
    stream.Commit();
    EXPECT_EQ(client.Receive(3), "fgh");
    stream.WriteData("ij", 2);
    EXPECT_TRUE(mHandler.RunUntil([&] {
        EventTimerManager::Instance().Service();
        return client.ReceiveAvailable() == "ij";
    })) << "by the timer";
}

TEST_F(Stream, TakesThePathsSegmentSizeWhenTheConnectionStands) {
    RawTcpClient client(mPort);
    RecordingStream& stream = Accepted();
    stream.SetCoalesce(10, 0);
    EXPECT_EQ(stream.GetCoalesceState(), KLVTCPStream::CoalesceState::Mtu);
    stream.OnReconnect();
    EXPECT_EQ(stream.GetCoalesceState(), KLVTCPStream::CoalesceState::Fixed);
    EXPECT_EQ(stream.CoalesceSize(), 65535U - 40U);
}

TEST(PeerKinds, FollowFromTheAddresses) {
    EXPECT_EQ(KLVTCPStream::RackIdOf(0x0A0000FE, 0x0A0023FF), 3)
        << "a router's end: the third octet, five bits of it";
    EXPECT_EQ(KLVTCPStream::RackIdOf(0x0A000001, 0x0A0000FE), 0);
    EXPECT_EQ(KLVTCPStream::RackIdOf(0x0A000000, 0x0A0000FE), 255);
}

TEST(SuspectLengths, AreToldWithTheHeadersBefore) {
    const CapturedLog log;
    for (std::uint32_t i = 0; i < 21; ++i) {
        KLVTCPStream::CheckKeyLength(0x0A000001, i, 0x4000);
    }
    EXPECT_THAT(log.Lines(), ElementsAre());
    KLVTCPStream::CheckKeyLength(0x0A000001, 99, 0x4001);
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 23U);
    EXPECT_EQ(lines[0], "*** SUSPECT KEY LENGTH from 0x0a000001: KEY=0x00000063 LEN=16385 ***\n");
    EXPECT_EQ(lines[1], "Previous 20 keys...\n");
    EXPECT_EQ(lines[2], "KEY=0x00000001 LEN=16384, ");
    EXPECT_EQ(lines[22], "\n\n");
}
