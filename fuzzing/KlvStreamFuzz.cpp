// A connection's bytes in pieces, through the stream that puts the messages together. A piece is a byte n and
// what follows from it: below 128 the n + 1 bytes behind it, else (n - 127) * 4 KiB that no header can be
// read from, so that a few bytes of input make a message that is too long for the ring. The messages are
// those that stand in the bytes as a whole, whatever the pieces and whatever their reader leaves.

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "FuzzTarget.h"
#include "KLVCommandSets.h"
#include "KLVTCPStream.h"
#include "KLVTags.h"
#include "SocketHandler.h"
#include "StdLog.h"

namespace {

using Messages = std::vector<std::string>;

constexpr std::size_t kMostBytes = 2 << 20;
constexpr int kMostPasses = 10000;

class DroppingSocketLog : public StdLog {
  public:
    void Report(const Socket*, const std::string&, int, const std::string&, Level) override {}
};

/// What the reader of the n-th known message does with it.
enum class Manner { TakesAll, LeavesTheValue, TakesPart, TakesAllAndPauses };

Manner MannerOf(std::size_t number) {
    return static_cast<Manner>(number % 4);
}

std::size_t TakenOf(std::size_t number, std::size_t length) {
    switch (MannerOf(number)) {
        case Manner::LeavesTheValue:
            return 0;
        case Manner::TakesPart:
            return length / 2;
        default:
            return length;
    }
}

class RecordingStream : public KLVTCPStream {
  public:
    RecordingStream(ISocketHandler& handler, Messages& messages)
        : KLVTCPStream(handler), mMessages(messages) {}

  protected:
    int ProcessKey(std::uint32_t keyType) override { return ProcessKey(keyType, *this); }

    int ProcessKey(std::uint32_t keyType, DataStream& stream) override {
        if (keyType != klv_key::kDeskCommand) {
            return 0;
        }
        const std::size_t number = mMessages.size();
        std::string message(kKlvHeaderSize, '\0');
        Require(stream.ReadData(message.data(), message.size()), "a message has a header");
        const auto length = little_endian::Load<std::uint32_t>(
            reinterpret_cast<const unsigned char*>(message.data()) + sizeof(std::uint32_t));
        std::string value(TakenOf(number, length), '\0');
        Require(stream.ReadData(value.data(), value.size()),
                "a message has as many bytes as its header says");
        if (value.size() == length) {
            char more = 0;
            Require(!stream.ReadData(&more, 1), "a message's reader gets nothing of the next one");
        }
        mMessages.push_back(message + value);
        SetReadPaused(MannerOf(number) == Manner::TakesAllAndPauses);
        return 1;
    }

  private:
    Messages& mMessages;
};

std::uint32_t WordAt(const std::string& bytes, std::size_t offset) {
    return little_endian::Load<std::uint32_t>(reinterpret_cast<const unsigned char*>(bytes.data()) + offset);
}

/// What the stream's reader is to get of these bytes.
Messages MessagesIn(const std::string& bytes) {
    Messages messages;
    for (std::size_t at = 0; bytes.size() - at >= kKlvHeaderSize;) {
        const std::uint32_t length = WordAt(bytes, at + sizeof(std::uint32_t));
        if (length > KLVTCPStream::kMaxLength || bytes.size() - at - kKlvHeaderSize < length) {
            break;
        }
        if (klv_key::KeyType(WordAt(bytes, at)) == klv_key::kDeskCommand) {
            messages.push_back(bytes.substr(at, kKlvHeaderSize + TakenOf(messages.size(), length)));
        }
        at += kKlvHeaderSize + length;
    }
    return messages;
}

std::vector<std::string> PiecesOf(const std::uint8_t* data, std::size_t size) {
    constexpr std::uint8_t kFirstOfFillers = 128;
    constexpr std::size_t kFiller = 4096;
    std::vector<std::string> pieces;
    std::size_t bytes = 0;
    for (std::size_t at = 0; at < size && bytes < kMostBytes; bytes += pieces.back().size()) {
        const std::uint8_t kind = data[at++];
        if (kind >= kFirstOfFillers) {
            pieces.emplace_back((kind - kFirstOfFillers + 1) * kFiller, '\xFF');
            continue;
        }
        const std::size_t count = std::min<std::size_t>(kind + 1U, size - at);
        pieces.emplace_back(reinterpret_cast<const char*>(data) + at, count);
        at += count;
    }
    return pieces;
}

/// The stream under test at one end of a connection, all on this thread.
class Connection {
  public:
    explicit Connection(Messages& messages) : mStream(mHandler, messages) {
        std::array<int, 2> ends{};
        Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) == 0,
                "the system has a pair of sockets left");
        mPeer = ends[0];
        mStream.AttachAccepted(ends[1]);
        mHandler.Add(&mStream);
    }
    ~Connection() { close(mPeer); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void Send(const std::string& bytes) {
        std::size_t sent = 0;
        PassUntil([&] {
            const ssize_t count = send(mPeer, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            sent += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
            return sent == bytes.size();
        });
        Pass();
    }

    /// The peer closes: what it has sent is still read, then the stream goes.
    void End() {
        shutdown(mPeer, SHUT_WR);
        Require(PassUntil([this] { return !mHandler.Holds(&mStream); }), "a stream ends with its connection");
    }

  private:
    void Pass() {
        mHandler.Select(0, 0);
        mStream.SetReadPaused(false);
    }

    /// False where it takes for ever. A stream that has ended needs nothing more.
    template <class Predicate>
    bool PassUntil(const Predicate& done) {
        for (int pass = 0; pass < kMostPasses; ++pass) {
            if (done() || (pass > 0 && !mHandler.Holds(&mStream))) {
                return true;
            }
            Pass();
        }
        return false;
    }

    DroppingSocketLog mLog;
    SocketHandler mHandler{mLog};
    RecordingStream mStream;
    int mPeer = -1;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string bytes;
    Messages messages;
    Connection connection(messages);
    for (const std::string& piece : PiecesOf(data, size)) {
        bytes += piece;
        connection.Send(piece);
    }
    connection.End();
    Require(messages == MessagesIn(bytes), "the messages are those that the bytes hold");
    return 0;
}
