#pragma once

#include <memory>
#include <string>

#include "IRegisterWindow.h"

namespace fsi {

/// Where register blocks come from: the kernel's UIO nodes on the box, a virtual board on a bench.
class IFsiBus {
  public:
    IFsiBus() = default;
    IFsiBus(const IFsiBus&) = delete;
    IFsiBus& operator=(const IFsiBus&) = delete;
    virtual ~IFsiBus() = default;

    /// Opens the block of this identity ("0003"; case does not matter), the `instance`-th where there are
    /// several. Throws std::system_error (19, generic category) with identity, device path, descriptor and
    /// size in its text where there is none, or it can't be opened or mapped.
    virtual std::unique_ptr<IRegisterWindow> Open(const std::string& identity, unsigned instance) = 0;
};

}  // namespace fsi
