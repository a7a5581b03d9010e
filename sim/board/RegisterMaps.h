#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace sim {

/// What the application may do with a word of a block's internal address space, and what a write does to it.
enum class WordAccess {
    Read,
    Write,
    ReadWrite,
    SetBits,    ///< write only: the ones of the value are set
    ClearBits,  ///< write only: the ones of the value are cleared
};

/// One word of a map, or a run of words that are alike.
struct WordDeclaration {
    std::uint32_t mOffset;  ///< bytes from the map's base
    std::uint32_t mCount;   ///< words in the run
    WordAccess mAccess;
    std::uint32_t mActsOn;  ///< offset of the word that keeps the value: its own, but where another one's
                            ///< bits are cleared
    std::uint32_t mReset;   ///< value at power-up
    const char* mName;
};

/// A map and where in a block's internal address space it stands.
struct MapPlacement {
    std::uint32_t mBase;
    const WordDeclaration* mFirst;
    std::size_t mSize;  ///< declarations

    const WordDeclaration* begin() const { return mFirst; }
    const WordDeclaration* end() const { return mFirst + mSize; }
};

// Internal addresses that the board's physics, not only the application, deal with.
constexpr std::uint32_t kMeasurementAddress = 0x30000;
constexpr std::uint32_t kRangeLowAddress = 0x30010;
constexpr std::uint32_t kRangeHighAddress = 0x30014;
constexpr std::uint32_t kPllSourceAddress = 0x30018;
constexpr std::uint32_t kDividersAddress = 0x40000;
constexpr std::uint32_t kLedAddress = 0x60000;
constexpr std::uint32_t kInputsAddress = 0x80000;
constexpr std::uint32_t kChangeFlagsAddress = 0x80004;
constexpr std::uint32_t kChangeEnableAddress = 0x80008;
constexpr std::uint32_t kRateSelectAddress = 0x90000;
constexpr std::uint32_t kAdcChannelsAddress = 0x90000;
constexpr std::uint32_t kAdcChannelSpacing = 0x10;
constexpr std::uint32_t kDacAddress = 0xA0000;
constexpr std::uint32_t kTableAddress = 0xC0000;

// Words of a converter's map, from its base.
constexpr std::uint32_t kConverterGain = 0x4;
constexpr std::uint32_t kConverterState = 0x8;

constexpr std::uint32_t kAdcChannels = 8;
constexpr std::uint32_t kTableWords = 2048;

/// The maps in the internal address space of the block of this identity, written as on the board ("000C");
/// none for a block that has none.
std::vector<MapPlacement> MapsOf(std::string_view identity);

}  // namespace sim
