#pragma once

#include "AudioDmaEndpoint.h"
#include "ExternalClockSource.h"
#include "Fsi.h"

namespace audio {

/// One router link as an audio endpoint and a clock. It has no register block: the kernel's link driver has
/// its audio.
class T2FsiLink : public AudioDmaEndpoint, public ExternalClockSource, public fsi::Fsi {
  public:
    static constexpr unsigned kSamples = 512;

    /// `id` is the link's audio DMA address, 0 to 7.
    T2FsiLink(unsigned id, unsigned clockId)
        : AudioDmaEndpoint(id, kSamples, Direction::Both), ExternalClockSource(clockId) {}
};

}  // namespace audio
