#pragma once

#include <map>
#include <memory>
#include <string>

#include "DeviceRegistry.h"

namespace fsi {

/// A snapshot of the devices of a registry that are a T. What is registered later isn't in it.
template <class T>
class DeviceRegistryView {
  public:
    using Devices = std::map<std::string, std::shared_ptr<T>>;

    /// A null registry gives an empty view.
    explicit DeviceRegistryView(const DeviceRegistry* registry) {
        if (registry == nullptr) {
            return;
        }
        for (const auto& [name, device] : registry->InNameOrder()) {
            if (auto wanted = std::dynamic_pointer_cast<T>(device)) {
                mDevices.emplace(name, std::move(wanted));
            }
        }
    }

    /// The device of this name, or null.
    std::shared_ptr<T> Find(const std::string& name) const {
        const auto found = mDevices.find(name);
        return found != mDevices.end() ? found->second : nullptr;
    }

    typename Devices::const_iterator begin() const { return mDevices.begin(); }
    typename Devices::const_iterator end() const { return mDevices.end(); }

  private:
    Devices mDevices;
};

}  // namespace fsi
