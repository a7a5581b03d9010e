#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include "HostFsi.h"
#include "Interruptable.h"

namespace audio {

/// The audio DMA engine's block: the transaction table, the change-over to it, and audio mute. Its interrupt
/// 0 ends a change-over.
///
/// The table can't be read from the hardware, so two copies are kept: what has been written, and what was
/// there when the last change-over was asked for. The table is written on the event loop; a change-over may
/// be asked for on any thread, and takes a whole table, never one that is half written.
class AudioDmaFsi : public fsi::HostFsi, public fsi::Interruptable {
  public:
    static constexpr unsigned kTableSize = 2048;
    static constexpr unsigned kEndOfSync = 0;  ///< interrupt id

    explicit AudioDmaFsi(fsi::IFsiBus& bus);

    /// Writes the transactions {destinations[n], sources[n]}, kTableSize of each. Event loop only.
    void WriteTable(const std::vector<std::uint16_t>& destinations,
                    const std::vector<std::uint16_t>& sources);

    /// Writes an idle word to every place of the table. Event loop only.
    void WriteIdleTable();

    /// Asks the FPGA to change over to the table as it has been written. Any thread.
    void RequestSync();

    /// Takes the request back, as is due when the change-over has ended. Any thread.
    void ClearSync();

    /// Whether the FPGA is changing over. Any thread.
    bool IsSyncing() const;

    /// Forces silence. Any thread.
    void SetMute(bool mute);

    /// Whether the FPGA mutes while its PLL has no lock, which it does until told otherwise. Any thread.
    void SetMuteOnPllLoss(bool mute);

    /// Copies of the table as written and as of the last request. Any thread.
    std::vector<std::uint32_t> Shadow() const;
    std::vector<std::uint32_t> Synced() const;

  private:
    void WriteShadow();

    mutable std::mutex mTableMutex;
    std::vector<std::uint32_t> mShadow = std::vector<std::uint32_t>(kTableSize, 0);
    std::vector<std::uint32_t> mSynced = std::vector<std::uint32_t>(kTableSize, 0);
};

}  // namespace audio
