#pragma once

#include <cstddef>
#include <string>

namespace audio {
class AudioDmaManager;
}

/// The reports of the `adma` commands. Event loop only.
namespace cmd::adma {

/// Every sink with its runs of sources, as wanted, whether synchronised yet or not.
std::string RouteReport(const audio::AudioDmaManager& manager);

/// The endpoints in name order, with their places in the table.
std::string LinkReport(const audio::AudioDmaManager& manager);

/// The words of the table as last handed to the FPGA, between two indices in either order; those beyond the
/// table are left out.
std::string TransactionReport(const audio::AudioDmaManager& manager, unsigned from, unsigned to);

}  // namespace cmd::adma
