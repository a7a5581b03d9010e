#pragma once

#include <memory>
#include <string>

#include "DeviceRegistryView.h"
#include "Node.h"

namespace audio {
class ExternalClockManager;
class ExternalClockSource;
}  // namespace audio

namespace cmd {

/// The shell's `clock` commands: which clock the audio PLL follows, and by whose choice. Event loop only.
class ExtRefNode : public Node {
  public:
    /// Sees the clock sources that `devices` holds now.
    ExtRefNode(std::shared_ptr<audio::ExternalClockManager> manager, const fsi::DeviceRegistry* devices);

  private:
    void AddReports();
    void AddSelection();
    void AddHardware();

    /// The clock id of the source of this name; throws BadCommandArg, which is the reply, where there is
    /// none.
    unsigned ClockId(const std::string& name) const;
    std::string ActiveName() const;
    std::string Status() const;

    std::shared_ptr<audio::ExternalClockManager> mManager;
    fsi::DeviceRegistryView<audio::ExternalClockSource> mSources;
    std::string mSourceNames;  ///< each with a blank behind it
};

}  // namespace cmd
