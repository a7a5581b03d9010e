#pragma once

namespace audio {

/// Something whose clock the PLL can follow. Its id indexes the FPGA's clock measurements; 0 is the internal
/// clock.
class ExternalClockSource {
  public:
    explicit ExternalClockSource(unsigned clockId) : mClockId(clockId) {}

    unsigned ClockId() const { return mClockId; }

  protected:
    ~ExternalClockSource() = default;

  private:
    unsigned mClockId;
};

}  // namespace audio
