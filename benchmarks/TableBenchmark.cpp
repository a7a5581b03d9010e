#include <benchmark/benchmark.h>

#include <boost/filesystem.hpp>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "AudioDmaFsi.h"
#include "Registers.h"
#include "TransactionWord.h"
#include "UioBus.h"

namespace {

/// A node of the audio DMA block on a device tree of plain files, mapped by the product's own bus.
class AdmaNodeOnDisk {
  public:
    AdmaNodeOnDisk() {
        namespace fs = boost::filesystem;
        mFolder = fs::temp_directory_path() / fs::unique_path("brindlet-%%%%%%%%");
        fs::create_directories(mFolder / "class/uio0/maps/map0");
        fs::create_directories(mFolder / "dev");
        Write("class/uio0/name", "0003");
        Write("class/uio0/maps/map0/size", "0x1000");
        Write("dev/uio0", std::string(4096, '\0'));
    }
    ~AdmaNodeOnDisk() {
        boost::system::error_code ignored;
        boost::filesystem::remove_all(mFolder, ignored);
    }
    AdmaNodeOnDisk(const AdmaNodeOnDisk&) = delete;
    AdmaNodeOnDisk& operator=(const AdmaNodeOnDisk&) = delete;

    fsi::UioBus Bus() const { return fsi::UioBus((mFolder / "class").string(), (mFolder / "dev").string()); }

  private:
    void Write(const std::string& name, const std::string& content) const {
        std::ofstream((mFolder / name).string()) << content;
    }

    boost::filesystem::path mFolder;
};

/// The floor: the same words, by bare stores into the same mapping.
void TableByBareStores(benchmark::State& state) {
    const AdmaNodeOnDisk node;
    fsi::UioBus bus = node.Bus();
    const audio::AudioDmaFsi fsi(bus);
    auto* const base = reinterpret_cast<volatile std::uint32_t*>(fsi.MappedBase());
    const std::vector<std::uint32_t> words(audio::AudioDmaFsi::kTableSize, 0x00200800);
    for (auto _ : state) {
        base[fsi::registers::kIndirectAddress / 4] = 0xC0000;
        for (const std::uint32_t word : words) {
            base[fsi::registers::kIndirectData / 4] = word;
        }
    }
}
BENCHMARK(TableByBareStores);

void TableByTheProduct(benchmark::State& state) {
    const AdmaNodeOnDisk node;
    fsi::UioBus bus = node.Bus();
    audio::AudioDmaFsi fsi(bus);
    std::vector<std::uint16_t> destinations(audio::AudioDmaFsi::kTableSize, 0x800);
    std::vector<std::uint16_t> sources(audio::AudioDmaFsi::kTableSize, 0x200);
    for (auto _ : state) {
        fsi.WriteTable(destinations, sources);
    }
}
BENCHMARK(TableByTheProduct);

}  // namespace
