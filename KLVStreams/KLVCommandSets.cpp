#include "KLVCommandSets.h"

#include "Audit.h"
#include "CommandNames.h"
#include "DataStream.h"

namespace {

DataStream& WithMeasuringReset(DataStream& stream) {
    stream.ResetMeasuring();
    return stream;
}

}  // namespace

KLVCommandWriteSet::KLVCommandWriteSet(DataStream& stream, std::uint32_t revision, std::uint32_t commandId,
                                       std::int32_t length)
    : KLVWriteSet(WithMeasuringReset(stream), klv_key::CommandKey(revision, commandId), length) {}

KLVCommandWriteSet::~KLVCommandWriteSet() {
    const std::uint32_t id = klv_key::CommandId(Key());
    AUDIT(Feature::KLVCommandWriteSetDebug, "KLVCommandWriteSet: %p (%u):%s\r\n",
          static_cast<void*>(&Stream()), id, GetCommandName(id));
}

KLVCommandReadSet::~KLVCommandReadSet() {
    AUDIT(Feature::KLVCommandReadSetDebug, "KLVCommandReadSet: %p (%u):%s\r\n", static_cast<void*>(&Stream()),
          GetCommandId(), GetCommandName(GetCommandId()));
}
