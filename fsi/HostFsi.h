#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "Fsi.h"
#include "IFsiBus.h"
#include "IRegisterWindow.h"

namespace fsi {

/// A register block of the FPGA, opened for as long as the object lives.
///
/// The indirect address and data registers are a pair without a lock: one thread uses them on one block at a
/// time. The control register can be changed from any thread.
class HostFsi : public Fsi {
  public:
    /// Opens the block on `bus`; throws what IFsiBus::Open throws.
    HostFsi(IFsiBus& bus, std::string identity, unsigned instance);

    const std::string& Identity() const { return mIdentity; }

    /// Direct register at a byte offset (Registers.h).
    std::uint32_t Read(std::uint32_t offset) const { return mWindow->Read(offset); }
    void Write(std::uint32_t offset, std::uint32_t value) { mWindow->Write(offset, value); }

    /// One word of the block's internal address space.
    std::uint32_t ReadInternal(std::uint32_t address);
    void WriteInternal(std::uint32_t address, std::uint32_t value);

    /// `count` consecutive words from `address` on.
    void WriteInternal(std::uint32_t address, const std::uint32_t* values, std::size_t count);

    /// Sets or clears bits of the control register. The register can't be read back, so a shadow is kept;
    /// changing the shadow and writing it out are one step. Any thread.
    void SetControl(std::uint32_t bits);
    void ClearControl(std::uint32_t bits);

    /// The descriptor that an interrupt makes readable.
    int Descriptor() const { return mWindow->Descriptor(); }

    /// The mapped base, for reports.
    std::uintptr_t MappedBase() const { return mWindow->MappedBase(); }

  private:
    std::string mIdentity;
    std::unique_ptr<IRegisterWindow> mWindow;
    std::mutex mControlMutex;
    std::uint32_t mControl = 0;
};

}  // namespace fsi
