#include <benchmark/benchmark.h>

#include <vector>

#include "AudioDmaFsi.h"
#include "DiskNodes.h"
#include "Registers.h"

namespace {

/// The floor: the same words, by bare stores into the same mapping.
void TableByBareStores(benchmark::State& state) {
    const DiskNodes nodes({{"0003", 0}});
    fsi::UioBus bus = nodes.Bus();
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
    const DiskNodes nodes({{"0003", 0}});
    fsi::UioBus bus = nodes.Bus();
    audio::AudioDmaFsi fsi(bus);
    std::vector<std::uint16_t> destinations(audio::AudioDmaFsi::kTableSize, 0x800);
    std::vector<std::uint16_t> sources(audio::AudioDmaFsi::kTableSize, 0x200);
    for (auto _ : state) {
        fsi.WriteTable(destinations, sources);
    }
}
BENCHMARK(TableByTheProduct);

}  // namespace
