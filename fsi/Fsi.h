#pragma once

namespace fsi {

/// Root of everything that stands in the device registry.
class Fsi {
  public:
    Fsi() = default;
    Fsi(const Fsi&) = delete;
    Fsi& operator=(const Fsi&) = delete;
    virtual ~Fsi() = default;
};

}  // namespace fsi
