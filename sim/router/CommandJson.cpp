#include "CommandJson.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <type_traits>

#include "CommandNames.h"
#include "DeskCommands.h"
#include "IOStream.h"
#include "JsonWriter.h"

namespace sim {
namespace {

/// Writes a command's fields.
class FieldJson {
  public:
    explicit FieldJson(JsonWriter& json) : mJson(json) {}

    template <class T>
    void operator()(const char* name, const T& value) {
        mJson.Key(name);
        Write(value);
    }
    template <class Key, class Value>
    void operator()(const char* name, const KLVMap<Key, Value>& entries) {
        mJson.Key(name).BeginArray();
        for (const auto& entry : entries) {
            mJson.BeginObject();
            Value::VisitEntry(entry.first, entry.second, *this);
            mJson.EndObject();
        }
        mJson.EndArray();
    }
    template <class Key>
    void operator()(const char* name, const KLVCollection<Key>& members) {
        mJson.Key(name).BeginArray();
        for (const Key& member : members) {
            Write(member);
        }
        mJson.EndArray();
    }

  private:
    template <class T>
    void Write(const T& value) {
        if constexpr (std::is_signed_v<T>) {
            mJson.Signed(value);
        } else {
            mJson.Number(value);
        }
    }
    void Write(const std::string& value) { mJson.String(value); }

    JsonWriter& mJson;
};

template <class Command>
void WriteFields(KLVCommandReadSet& set, JsonWriter& json) {
    Command command;
    command.Read(set);
    FieldJson fields(json);
    Command::VisitFields(command, fields);
}

struct KnownCommand {
    std::uint32_t mId;
    void (*mWriteFields)(KLVCommandReadSet& set, JsonWriter& json);
};

template <class Command>
constexpr KnownCommand Known() {
    return {Command::kId, &WriteFields<Command>};
}

constexpr KnownCommand kKnown[] = {
    Known<IoInfoReq>(),          Known<IoInfo>(),          Known<IoSetInputParams>(),
    Known<IoActiveRouter>(),     Known<IoActiveAudio>(),   Known<IoSetOutputGain>(),
    Known<PortBitmapCmd>(),      Known<IoOutputMuteCmd>(), Known<IoSampleRateCapabilities>(),
    Known<IoSetSampleRateCmd>(), Known<IoSyncSwap>(),      Known<IoSyncFail>(),
};

}  // namespace

std::string CommandJson(const std::string& message) {
    IOStream stream(message);
    KLVCommandReadSet set(stream);
    const std::uint32_t id = set.GetCommandId();
    const bool isCommand = klv_key::KeyType(set.Key()) == klv_key::kDeskCommand;
    const auto* const known =
        std::find_if(std::begin(kKnown), std::end(kKnown),
                     [id, isCommand](const KnownCommand& row) { return isCommand && row.mId == id; });
    JsonWriter json;
    json.BeginObject().Key("name");
    if (known == std::end(kKnown)) {
        json.String("UNKNOWN").Number("id", id).Number("length", set.Left());
    } else {
        json.String(GetCommandName(id));
        known->mWriteFields(set, json);
    }
    set.SkipToEnd();
    return json.EndObject().Text();
}

}  // namespace sim
