#pragma once

#include <cstdint>

#include "MapObject.h"

namespace audio {

/// Four clock dividers, a word each from 0x0 on: master, bit, word and spare clock.
class InternalClockDividerMap : private fsi::MapObject {
  public:
    struct Dividers {
        std::uint16_t mMaster = 0;
        std::uint16_t mBit = 0;
        std::uint16_t mWord = 0;
        std::uint16_t mSpare = 0;
    };

    explicit InternalClockDividerMap(fsi::HostFsi& owner) : MapObject(owner, 0x40000) {}

    void Set(const Dividers& dividers) {
        Write(0x0, dividers.mMaster);
        Write(0x4, dividers.mBit);
        Write(0x8, dividers.mWord);
        Write(0xC, dividers.mSpare);
    }
};

}  // namespace audio
