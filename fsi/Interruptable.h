#pragma once

#include <boost/signals2/connection.hpp>
#include <boost/signals2/signal.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "HostFsi.h"

namespace fsi {

/// The part of a device that raises interrupts: it enables its ids in the block while it lives, and turns a
/// pending id into an emission of that id's signal. Event loop only, but for the descriptor.
class Interruptable {
  public:
    /// Enables exactly `ids`. Throws std::out_of_range for an id of 32 or above, before anything is written.
    Interruptable(HostFsi& fsi, const std::vector<unsigned>& ids);
    Interruptable(const Interruptable&) = delete;
    Interruptable& operator=(const Interruptable&) = delete;

    /// Disables all ids in the block.
    virtual ~Interruptable();

    /// Calls `slot` at each interrupt `id`. Throws std::invalid_argument for an id that the device hasn't
    /// declared.
    boost::signals2::connection Connect(unsigned id, const std::function<void()>& slot);

    /// Enables or disables one id in the block, whatever becomes of the others.
    void SetIdEnabled(unsigned id, bool enabled);

    /// While disabled, pending ids are acknowledged and nothing is emitted.
    void SetEnabled(bool enabled) { mEnabled = enabled; }

    /// Acknowledges each pending id, in the order of declaration, and emits its signal right after. The
    /// status is read once: what a slot raises anew is served by a later call.
    void HandleInterrupts();

    int Descriptor() const { return mFsi.Descriptor(); }
    const std::string& Identity() const { return mFsi.Identity(); }

  private:
    using Signal = boost::signals2::signal<void()>;

    struct Entry {
        unsigned mId;
        std::shared_ptr<Signal> mSignal;
    };

    HostFsi& mFsi;
    std::vector<Entry> mEntries;
    std::uint32_t mMask = 0;  ///< of the ids that are enabled in the block
    bool mEnabled = true;
};

}  // namespace fsi
