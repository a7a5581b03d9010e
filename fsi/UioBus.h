#pragma once

#include <memory>
#include <string>

#include "IFsiBus.h"

namespace fsi {

/// The register blocks that the kernel shows as user-space I/O nodes. A block's identity is the first line of
/// the file "name" in its class folder entry.
class UioBus : public IFsiBus {
  public:
    /// Other folders than the kernel's are for tests.
    explicit UioBus(std::string classFolder = "/sys/class/uio", std::string deviceFolder = "/dev");

    std::unique_ptr<IRegisterWindow> Open(const std::string& identity, unsigned instance) override;

  private:
    struct Node {
        std::string mDevice;           ///< path of the device node; empty where none was found
        std::uint32_t mSize = 0;       ///< bytes to map
        std::uint32_t mMapOffset = 0;  ///< bytes from the mapped address to the registers
    };

    Node Find(const std::string& identity, unsigned instance) const;

    std::string mClassFolder;
    std::string mDeviceFolder;
};

}  // namespace fsi
