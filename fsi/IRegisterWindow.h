#pragma once

#include <cstddef>
#include <cstdint>

namespace fsi {

/// One opened register block. Offsets are bytes from its base, registers are 32 bits wide. A window only
/// moves words: what they mean is its user's business. Any thread; the users order their accesses among
/// themselves.
class IRegisterWindow {
  public:
    IRegisterWindow() = default;
    IRegisterWindow(const IRegisterWindow&) = delete;
    IRegisterWindow& operator=(const IRegisterWindow&) = delete;
    virtual ~IRegisterWindow() = default;

    virtual std::uint32_t Read(std::uint32_t offset) = 0;
    virtual void Write(std::uint32_t offset, std::uint32_t value) = 0;

    /// Writes `count` values, in order, to the one register at `offset`.
    virtual void WriteRun(std::uint32_t offset, const std::uint32_t* values, std::size_t count) = 0;

    /// The descriptor that becomes readable at an interrupt and gives four bytes, the count, to a read.
    virtual int Descriptor() const = 0;

    /// The base of the registers as reports show it.
    virtual std::uintptr_t MappedBase() const = 0;
};

}  // namespace fsi
