#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>

#include "Audit.h"

// What a message costs while its feature is off, against its floor: one bounds test and one byte load.

namespace {

std::array<std::uint8_t, Audit::kMaxDebugLevels> gBareSwitches{};

void BareSwitchTest(benchmark::State& state) {
    unsigned id = static_cast<unsigned>(Feature::TalvoIoBoxVerbose);
    for (auto _ : state) {
        benchmark::DoNotOptimize(id);
        if (id < gBareSwitches.size() && gBareSwitches[id] != 0) {
            state.SkipWithError("the switch is on");
        }
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BareSwitchTest)->Name("Audit/DisabledMessage/Floor");

void IsEnabled(benchmark::State& state) {
    unsigned id = static_cast<unsigned>(Feature::TalvoIoBoxVerbose);
    const Audit& audit = Audit::Instance();
    for (auto _ : state) {
        benchmark::DoNotOptimize(id);
        if (audit.IsEnabled(id)) {
            state.SkipWithError("the feature is on");
        }
        benchmark::ClobberMemory();
    }
}
BENCHMARK(IsEnabled)->Name("Audit/DisabledMessage/IsEnabledAlone");

/// The whole line as callers write it, which also fetches the log in use.
void DisabledMessage(benchmark::State& state) {
    unsigned id = static_cast<unsigned>(Feature::TalvoIoBoxVerbose);
    Audit::Instance().SetLevel(id, 0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(id);
        AUDIT(id, "id %u\n", id);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(DisabledMessage)->Name("Audit/DisabledMessage");

}  // namespace
