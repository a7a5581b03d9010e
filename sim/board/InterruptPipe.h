#pragma once

#include <cstdint>

namespace sim {

/// The descriptor by which a node tells of interrupts: it becomes readable at a signal and gives one
/// four-byte count to a read, however many signals came before, as a UIO node does. A pipe, because an
/// eventfd refuses reads of four bytes. Signalled under the board's lock, read by any thread.
class InterruptPipe {
  public:
    /// Throws std::system_error where no pipe can be had.
    InterruptPipe();
    ~InterruptPipe();
    InterruptPipe(const InterruptPipe&) = delete;
    InterruptPipe& operator=(const InterruptPipe&) = delete;

    /// Makes the descriptor readable, where it isn't already.
    void Signal();

    /// The end to poll and read; it doesn't block.
    int Descriptor() const { return mReadEnd; }

  private:
    int mReadEnd = -1;
    int mWriteEnd = -1;
    std::uint32_t mCount = 0;
};

}  // namespace sim
