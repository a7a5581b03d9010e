#pragma once

#include <cstdint>

#include "KLVReadSet.h"
#include "KLVWriteSet.h"

/// How a desk command's key is made up.
namespace klv_key {

constexpr std::uint32_t kDeskCommand = 5;  ///< the kind of message that this device speaks
constexpr unsigned kKeyTypeShift = 27;
constexpr unsigned kRevisionShift = 22;
constexpr std::uint32_t kRevisionMask = 0x1F;
constexpr std::uint32_t kCommandMask = 0x3FFFFF;

constexpr std::uint32_t KeyType(std::uint32_t key) {
    return key >> kKeyTypeShift;
}

constexpr std::uint32_t CommandId(std::uint32_t key) {
    return key & kCommandMask;
}

constexpr std::uint32_t CommandKey(std::uint32_t revision, std::uint32_t commandId) {
    return kDeskCommand << kKeyTypeShift | (revision & kRevisionMask) << kRevisionShift |
           (commandId & kCommandMask);
}

}  // namespace klv_key

/// Writes one desk command: the header here, the fields by the caller, the end at the end of the scope.
class KLVCommandWriteSet : public KLVWriteSet {
  public:
    /// `revision` 0 to 31; `length` of the value in bytes, negative to measure first.
    KLVCommandWriteSet(DataStream& stream, std::uint32_t revision, std::uint32_t commandId,
                       std::int32_t length);
    ~KLVCommandWriteSet() override;
};

/// Reads one desk command.
class KLVCommandReadSet : public KLVReadSet {
  public:
    explicit KLVCommandReadSet(DataStream& stream) : KLVReadSet(stream) {}
    ~KLVCommandReadSet() override;

    std::uint32_t GetCommandId() const { return klv_key::CommandId(Key()); }
};
