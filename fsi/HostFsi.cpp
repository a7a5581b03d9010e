#include "HostFsi.h"

#include <utility>

#include "Registers.h"

namespace fsi {

HostFsi::HostFsi(IFsiBus& bus, std::string identity, unsigned instance)
    : mIdentity(std::move(identity)), mWindow(bus.Open(mIdentity, instance)) {}

std::uint32_t HostFsi::ReadInternal(std::uint32_t address) {
    Write(registers::kIndirectAddress, address);
    return Read(registers::kIndirectData);
}

void HostFsi::WriteInternal(std::uint32_t address, std::uint32_t value) {
    Write(registers::kIndirectAddress, address);
    Write(registers::kIndirectData, value);
}

void HostFsi::WriteInternal(std::uint32_t address, const std::uint32_t* values, std::size_t count) {
    Write(registers::kIndirectAddress, address);
    mWindow->WriteRun(registers::kIndirectData, values, count);
}

void HostFsi::SetControl(std::uint32_t bits) {
    const std::lock_guard<std::mutex> lock(mControlMutex);
    mControl |= bits;
    Write(registers::kControl, mControl);
}

void HostFsi::ClearControl(std::uint32_t bits) {
    const std::lock_guard<std::mutex> lock(mControlMutex);
    mControl &= ~bits;
    Write(registers::kControl, mControl);
}

}  // namespace fsi
