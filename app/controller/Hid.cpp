#include "Hid.h"

#include <fstream>

#include <boost/format.hpp>

#include "Audit.h"
#include "RootedPath.h"

namespace TalvoBrindlet {

std::uint32_t ReadExtendedHid(const RootedPath& path) {
    AUDIT(Feature::Information, "Attempting to open HID extension file  %s\n", path.Shown().c_str());
    std::ifstream file(path.Actual());
    if (!file) {
        AUDIT(Feature::Information, "Could not find HID extension file %s. Okay if it should not be there.\n",
              path.Shown().c_str());
        return 0;
    }
    std::uint32_t extended = 0;
    if (!(file >> std::hex >> extended)) {
        extended = 0;
    }
    AUDIT(Feature::Information, "Found Extended HID file %s, extended attributes are %lu\n",
          path.Shown().c_str(), static_cast<unsigned long>(extended));
    return extended;
}

std::string HidText(std::uint32_t hid) {
    constexpr std::uint32_t kSmall = 4095;
    if (hid == 0) {
        return "LOCAL_DSP_HID ";
    }
    if (hid == kHidNotRead) {
        return "INVALID_HID ";
    }
    if (hid < kSmall) {
        return (boost::format("0x%1$X(%1$d) ") % hid).str();
    }
    return (boost::format("%d.%d:%x ") % (hid >> 24) % (hid >> 16 & 0xFF) % (hid & 0xFFFF)).str();
}

}  // namespace TalvoBrindlet
