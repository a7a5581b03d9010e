#include "AdmaReports.h"

#include <algorithm>
#include <iomanip>
#include <map>
#include <sstream>

#include "AudioDmaManager.h"
#include "TransactionWord.h"

namespace cmd::adma {

namespace {

using audio::AudioDmaEndpoint;
using audio::AudioDmaFsi;
using audio::AudioDmaManager;

using Names = std::map<unsigned, std::string>;

constexpr int kRangeWidth = 7;

/// A stretch of one sink that is fed by consecutive samples of one source, or by silence.
struct Run {
    std::size_t mFirst;  ///< sample of the sink
    std::size_t mLength;
    std::uint16_t mSource;  ///< endpoint word of the first source sample
};

/// Whether `next` goes on where `previous` stands in a run.
bool Continues(std::uint16_t previous, std::uint16_t next) {
    if (previous == 0 || next == 0) {
        return previous == next;
    }
    return next == previous + 1 && audio::AddressOf(next) == audio::AddressOf(previous);
}

std::vector<Run> Runs(const std::vector<std::uint16_t>& sources, std::size_t position, std::size_t count) {
    std::vector<Run> runs;
    for (std::size_t sample = 0; sample < count; ++sample) {
        const std::uint16_t source = sources[position + sample];
        if (sample > 0 && Continues(sources[position + sample - 1], source)) {
            ++runs.back().mLength;
        } else {
            runs.push_back({sample, 1, source});
        }
    }
    return runs;
}

std::string Range(std::size_t first, std::size_t length) {
    std::string text = std::to_string(first);
    if (length > 1) {
        text += "-" + std::to_string(first + length - 1);
    }
    return text;
}

std::string NameOf(const Names& names, unsigned address) {
    const auto found = names.find(address);
    return found != names.end() ? found->second : "?";
}

class RouteReportWriter {
  public:
    explicit RouteReportWriter(const AudioDmaManager& manager) : mManager(manager) {
        for (const auto& [name, endpoint] : manager) {
            if (endpoint->IsSource()) {
                mSources[endpoint->Id()] = name;
            }
            if (endpoint->IsSink()) {
                mSinks[endpoint->Id()] = name;
            }
            mWidth = std::max(mWidth, static_cast<int>(name.size()) + 2);
        }
        mSources[0] = "0";
    }

    std::string Write() {
        mOut << std::setw(mWidth + 13) << "Sources "
             << "Sinks\n";
        for (const auto& sink : mManager.SinkEndpoints()) {
            mOut << '\n';
            for (const Run& run : Runs(mManager.Sources(), mManager.PositionOf(*sink), sink->SampleCount())) {
                WriteRun(run, NameOf(mSinks, sink->Id()));
            }
        }
        return mOut.str();
    }

  private:
    void WriteRun(const Run& run, const std::string& sinkName) {
        const bool silent = run.mSource == 0;
        const std::string label = silent ? "" : NameOf(mSources, audio::AddressOf(run.mSource)) + ": ";
        const std::string range = silent ? "0" : Range(audio::SampleOf(run.mSource), run.mLength);
        mOut << std::setw(mWidth) << label << std::left << std::setw(kRangeWidth) << range << " >> "
             << std::right << std::setw(mWidth) << sinkName + ": " << Range(run.mFirst, run.mLength) << '\n';
    }

    const AudioDmaManager& mManager;
    Names mSources;
    Names mSinks;
    int mWidth = 0;
    std::ostringstream mOut;
};

std::string Places(const AudioDmaManager& manager, const AudioDmaEndpoint& endpoint) {
    const std::size_t first = manager.PositionOf(endpoint);
    if (!endpoint.IsSink() || first == manager.Destinations().size()) {
        return "[no transactions],";
    }
    return "transactions " + std::to_string(first) + "-" +
           std::to_string(first + endpoint.SampleCount() - 1) + ",";
}

}  // namespace

std::string RouteReport(const AudioDmaManager& manager) {
    return RouteReportWriter(manager).Write();
}

std::string LinkReport(const AudioDmaManager& manager) {
    std::ostringstream out;
    for (const auto& [name, endpoint] : manager) {
        out << std::setw(6) << name << ": Endpoint: " << endpoint->Id() << ", " << std::setw(23)
            << Places(manager, *endpoint) << ' ';
        if (const auto host = std::dynamic_pointer_cast<fsi::HostFsi>(endpoint)) {
            out << "FSI: " << host->Identity() << ", mapped addr: 0x" << std::hex << host->MappedBase()
                << std::dec;
        } else {
            out << "[Kernel FSI]";
        }
        out << '\n';
    }
    return out.str();
}

std::string TransactionReport(const AudioDmaManager& manager, unsigned from, unsigned to) {
    const std::vector<std::uint32_t> table = manager.Fsi().Synced();
    // Cut first: where the index has 32 bits, the last one and one more would be 0.
    const std::size_t last = std::min<std::size_t>(std::max(from, to), table.size() - 1);
    std::ostringstream out;
    for (std::size_t index = std::min(from, to); index <= last; ++index) {
        out << std::dec << index << ": 0x" << std::hex << std::setw(8) << std::setfill('0') << table[index]
            << '\n';
    }
    return out.str();
}

}  // namespace cmd::adma
