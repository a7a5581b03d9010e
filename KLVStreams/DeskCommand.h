#pragma once

#include <algorithm>
#include <boost/container/flat_map.hpp>
#include <boost/container/flat_set.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "DataStream.h"
#include "KLVCommandSets.h"

/// A command that crosses a router link.
class DeskCommand {
  public:
    explicit DeskCommand(std::uint32_t commandId) : mCommandId(commandId) {}
    virtual ~DeskCommand() = default;

    /// Writes it to the stream as one message.
    virtual void Write(DataStream& stream) const = 0;

    std::uint32_t mCommandId;

  protected:
    DeskCommand(const DeskCommand&) = default;
    DeskCommand& operator=(const DeskCommand&) = default;
};

/// A field that is several: written in a row, in the order of its own visit.
template <class Key, class Value>
using KLVMap = boost::container::flat_map<Key, Value>;
template <class Key>
using KLVCollection = boost::container::flat_set<Key>;

namespace desk_command {

/// Measures a value's fields, in bytes on the wire.
class FieldSizes {
  public:
    std::int32_t Total() const { return static_cast<std::int32_t>(mTotal); }

    template <class T>
    void operator()(const char* /*name*/, const T& /*value*/) {
        mTotal += sizeof(T);
    }
    void operator()(const char* /*name*/, const std::string& value) {
        mTotal += sizeof(std::uint32_t) + value.size();
    }
    template <class Key, class Value>
    void operator()(const char* /*name*/, const KLVMap<Key, Value>& entries) {
        mTotal += sizeof(std::uint32_t);
        for (const auto& entry : entries) {
            Value::VisitEntry(entry.first, entry.second, *this);
        }
    }
    template <class Key>
    void operator()(const char* /*name*/, const KLVCollection<Key>& members) {
        mTotal += sizeof(std::uint32_t) + members.size() * sizeof(Key);
    }

  private:
    std::size_t mTotal = 0;
};

/// Writes a value's fields to a set.
class FieldWriter {
  public:
    explicit FieldWriter(KLVWriteSet& set) : mSet(set) {}

    template <class T>
    void operator()(const char* /*name*/, const T& value) {
        mSet.WriteNative(value);
    }
    template <class Key, class Value>
    void operator()(const char* /*name*/, const KLVMap<Key, Value>& entries) {
        mSet.WriteNative(static_cast<std::uint32_t>(entries.size()));
        for (const auto& entry : entries) {
            Value::VisitEntry(entry.first, entry.second, *this);
        }
    }
    template <class Key>
    void operator()(const char* /*name*/, const KLVCollection<Key>& members) {
        mSet.WriteNative(static_cast<std::uint32_t>(members.size()));
        for (const Key& member : members) {
            mSet.WriteNative(member);
        }
    }

  private:
    KLVWriteSet& mSet;
};

/// Reads a value's fields from a set, as far as the message holds them.
class FieldReader {
  public:
    explicit FieldReader(KLVReadSet& set) : mSet(set) {}

    template <class T>
    void operator()(const char* /*name*/, T& value) {
        mIsGood = mIsGood && mSet.ReadNative(value);
    }

    /// Of entries with one key the last one counts. They are sorted once at the end, whatever order a message
    /// of some megabytes brings them in.
    template <class Key, class Value>
    void operator()(const char* /*name*/, KLVMap<Key, Value>& entries) {
        typename KLVMap<Key, Value>::sequence_type read;
        for (std::uint32_t left = ReadCount(sizeof(Key)); left > 0; --left) {
            Key key{};
            Value value{};
            Value::VisitEntry(key, value, *this);
            if (!mIsGood) {
                break;
            }
            read.emplace_back(key, value);
        }
        KeepLastOfEachKey(read);
        entries.adopt_sequence(boost::container::ordered_unique_range, std::move(read));
    }
    template <class Key>
    void operator()(const char* /*name*/, KLVCollection<Key>& members) {
        typename KLVCollection<Key>::sequence_type read;
        for (std::uint32_t left = ReadCount(sizeof(Key)); left > 0; --left) {
            Key member{};
            (*this)("", member);
            if (!mIsGood) {
                break;
            }
            read.push_back(member);
        }
        members.adopt_sequence(std::move(read));
    }

  private:
    /// A count that the rest of the message can't hold is a failed read.
    std::uint32_t ReadCount(std::size_t leastSize) {
        std::uint32_t count = 0;
        (*this)("", count);
        if (count > mSet.Left() / leastSize) {
            mIsGood = false;
        }
        return mIsGood ? count : 0;
    }

    template <class Sequence>
    static void KeepLastOfEachKey(Sequence& sequence) {
        const auto byKey = [](const auto& left, const auto& right) {
            return left.first < right.first;
        };
        if (!std::is_sorted(sequence.begin(), sequence.end(), byKey)) {
            std::stable_sort(sequence.begin(), sequence.end(), byKey);
        }
        auto out = sequence.begin();
        for (auto in = sequence.begin(); in != sequence.end(); ++in) {
            if (out != sequence.begin() && (out - 1)->first == in->first) {
                --out;
            }
            *out++ = std::move(*in);
        }
        sequence.erase(out, sequence.end());
    }

    KLVReadSet& mSet;
    bool mIsGood = true;
};

}  // namespace desk_command

/// What all commands have in common. `Command` lists its fields once, in wire order, in a static member
/// template `VisitFields(self, visit)` that calls `visit(name, field)` for each.
template <class Command, std::uint32_t Id, std::uint32_t Revision = 0>
class DeskCommandOf : public DeskCommand {
  public:
    static constexpr std::uint32_t kId = Id;

    DeskCommandOf() : DeskCommand(Id) {}

    void Write(DataStream& stream) const override {
        desk_command::FieldSizes sizes;
        Command::VisitFields(Self(), sizes);
        KLVCommandWriteSet set(stream, Revision, mCommandId, sizes.Total());
        desk_command::FieldWriter writer(set);
        Command::VisitFields(Self(), writer);
    }

    /// Reads the fields; one that the message doesn't hold stays as it is, and so do those behind it.
    void Read(KLVReadSet& set) {
        desk_command::FieldReader reader(set);
        Command::VisitFields(static_cast<Command&>(*this), reader);
    }

  private:
    const Command& Self() const { return static_cast<const Command&>(*this); }
};
