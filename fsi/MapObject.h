#pragma once

#include <cstdint>

#include "HostFsi.h"

namespace fsi {

/// A group of words at a base in the internal address space of a block, which owns the map. Event loop only,
/// as all users of the indirect registers.
class MapObject {
  public:
    MapObject(HostFsi& owner, std::uint32_t base) : mOwner(owner), mBase(base) {}

    std::uint32_t Read(std::uint32_t offset) const { return mOwner.ReadInternal(mBase + offset); }
    void Write(std::uint32_t offset, std::uint32_t value) { mOwner.WriteInternal(mBase + offset, value); }

  private:
    HostFsi& mOwner;
    std::uint32_t mBase;
};

}  // namespace fsi
