#include "TalvoCommandProcessor.h"

void TalvoCommandProcessor::Dispatch(KLVCommandReadSet& readSet, unsigned char port, StreamType type,
                                     CommandBacklog::Ticket ticket) {
    const std::uint32_t id = readSet.GetCommandId();
    const std::lock_guard lock(mMutex);
    const auto found = mDispatchers.find(id);
    if (found == mDispatchers.end()) {
        readSet.SkipToEnd();
        AUDIT(Feature::CmdDebug, "Nothing registered for %s, skipping to end of data\n", GetCommandName(id));
        return;
    }
    const auto& mEmitter = found->second.mEmitter;
    AUDIT_ASSERT(mEmitter);
    if (!mEmitter) {
        AUDIT(Feature::Assert, "Emitter functor is empty for CommandID %d\n", static_cast<int>(id));
        return;
    }
    mEmitter(readSet, port, type, std::move(ticket));
}
