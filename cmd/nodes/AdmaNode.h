#pragma once

#include <memory>
#include <string>

#include "Node.h"

namespace audio {
class AudioDmaEndpoint;
class AudioDmaManager;
}  // namespace audio

namespace cmd {

/// The shell's `adma` commands: the engineers' direct access to the audio DMA table. Event loop only.
class AdmaNode : public Node {
  public:
    explicit AdmaNode(std::shared_ptr<audio::AudioDmaManager> manager);

  private:
    using Endpoint = std::shared_ptr<audio::AudioDmaEndpoint>;

    void AddReports();
    void AddPatching();
    void AddHandshake();

    /// The endpoint of this name; throws BadCommandArg, which is the reply, where there is none that can
    /// serve so.
    Endpoint Source(const std::string& name) const;
    Endpoint Sink(const std::string& name) const;

    void Patch(const std::string& source, const std::string& sink);
    void PatchSamples(const std::string& source, const std::string& sourceRanges, const std::string& sink,
                      const std::string& sinkRanges);
    void ClearFrom(const std::string& source);
    void ClearTo(const std::string& sink);
    void ClearAll();

    std::shared_ptr<audio::AudioDmaManager> mManager;
};

}  // namespace cmd
