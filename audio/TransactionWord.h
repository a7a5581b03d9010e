#pragma once

#include <cstdint>

/// The words of the audio DMA engine. An endpoint word is one side of a transaction:
///
/// | bits   | field                         |
/// |--------|-------------------------------|
/// | [8:0]  | sample                        |
/// | [11:9] | address of the endpoint       |
///
/// A transaction is the destination's endpoint word with the source's 12 bits above it:
///
/// | bits    | field                        |
/// |---------|------------------------------|
/// | [11:0]  | destination                  |
/// | [23:12] | source; 0 is silence         |
/// | [31:24] | 0                            |
namespace audio {

constexpr unsigned kAddresses = 8;
constexpr unsigned kSamplesPerAddress = 512;
constexpr unsigned kAddressShift = 9;
constexpr unsigned kSourceShift = 12;
constexpr std::uint16_t kSampleMask = kSamplesPerAddress - 1;
constexpr std::uint32_t kEndpointMask = 0xFFF;

/// A sample above 511 runs into the address bits, and is cut to 16 bits with them.
constexpr std::uint16_t EndpointWord(unsigned address, unsigned sample) {
    return static_cast<std::uint16_t>(sample | address << kAddressShift);
}

constexpr unsigned AddressOf(std::uint16_t endpointWord) {
    return endpointWord >> kAddressShift;
}

constexpr unsigned SampleOf(std::uint16_t endpointWord) {
    return endpointWord & kSampleMask;
}

constexpr std::uint32_t TransactionWord(std::uint16_t destination, std::uint16_t source) {
    return (destination & kEndpointMask) | (source & kEndpointMask) << kSourceShift;
}

}  // namespace audio
