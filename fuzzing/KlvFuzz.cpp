// Bytes as a row of messages, each read as the desk command that its header names. What was read is written
// again: a whole message, that reads as the same command.

#include <string>

#include "DeskCommands.h"
#include "FuzzTarget.h"
#include "IOStream.h"

namespace {

/// Reads a command; the message that it makes.
template <class Command>
std::string Rewritten(KLVReadSet& set) {
    Command command;
    command.Read(set);
    IOStream stream;
    command.Write(stream);
    return stream.Bytes();
}

template <class Command>
void ReadAndWrite(KLVReadSet& set) {
    const std::string written = Rewritten<Command>(set);
    IOStream stream(written);
    KLVCommandReadSet again(stream);
    Require(again.GetCommandId() == Command::kId, "a command is written under its own id");
    Require(again.Left() == written.size() - stream.BytesRead(), "a written header tells the value's length");
    Require(Rewritten<Command>(again) == written, "a written command reads as the same command");
    Require(again.Left() == 0, "a written command is read whole");
}

struct Reader {
    std::uint32_t mId;
    void (*mRead)(KLVReadSet& set);
};

template <class Command>
constexpr Reader ReaderOf() {
    return {Command::kId, &ReadAndWrite<Command>};
}

constexpr Reader kReaders[] = {
    ReaderOf<IoInfoReq>(),          ReaderOf<IoInfo>(),          ReaderOf<IoSetInputParams>(),
    ReaderOf<IoActiveRouter>(),     ReaderOf<IoActiveAudio>(),   ReaderOf<IoSetOutputGain>(),
    ReaderOf<PortBitmapCmd>(),      ReaderOf<IoOutputMuteCmd>(), ReaderOf<IoSampleRateCapabilities>(),
    ReaderOf<IoSetSampleRateCmd>(), ReaderOf<IoSyncSwap>(),      ReaderOf<IoSyncFail>(),
};

/// The stream on a connection reads no longer ones, and a text of an announced length takes its memory at
/// once.
constexpr std::uint32_t kMostAnnounced = 1 << 20;

/// False where the row ends.
bool ReadMessage(DataStream& stream) {
    KLVCommandReadSet set(stream);
    if (set.Left() > kMostAnnounced) {
        return false;
    }
    for (const Reader& reader : kReaders) {
        if (reader.mId == set.GetCommandId()) {
            reader.mRead(set);
        }
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    IOStream stream(std::string(reinterpret_cast<const char*>(data), size));
    bool goesOn = true;
    for (std::size_t most = size / sizeof(std::uint64_t); goesOn && most > 0; --most) {
        goesOn = ReadMessage(stream);
    }
    return 0;
}
