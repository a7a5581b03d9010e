#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "Fsi.h"

namespace fsi {

/// All devices of the box, each under one name. Written during start-up on the main thread, read-only
/// afterwards, so without a lock.
class DeviceRegistry {
  public:
    using Devices = std::map<std::string, std::shared_ptr<Fsi>>;

    /// Makes a T from `arguments` and adds it under `name`. Returns the device, or null where the name is
    /// taken; the registry then stays as it was. Throws what T's constructor throws.
    template <class T, class... Arguments>
    std::shared_ptr<T> Add(const std::string& name, Arguments&&... arguments) {
        auto device = std::make_shared<T>(std::forward<Arguments>(arguments)...);
        return Insert(name, device) ? device : nullptr;
    }

    /// Adds a device that exists already; false, changing nothing, where the name or the device is there
    /// already.
    bool Insert(const std::string& name, const std::shared_ptr<Fsi>& device) {
        if (mPointers.count(device.get()) != 0 || !mDevices.emplace(name, device).second) {
            return false;
        }
        mPointers.insert(device.get());
        return true;
    }

    /// In byte order of the names.
    const Devices& InNameOrder() const { return mDevices; }

  private:
    Devices mDevices;
    std::set<const Fsi*> mPointers;
};

}  // namespace fsi
