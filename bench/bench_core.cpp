// Benchmarks of the exported operations on the hot path: one measurement cycle
// (vorn_sensor_control, then vorn_do_steps with what it asked for) with the host
// layer's ten outputs and with the IAQ index alone, and the state export and import.
// The shared client drives the shared room, so the library sees a continuous run.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <span>

#include "client.h"

namespace {

using namespace vorn_test;

constexpr uint8_t kIaqOnly[] = {OUT_IAQ_INDEX};
constexpr int kWarmUpCycles = Room::kReadingsPerDay;  // one day: every flag settled

// A client that has run a day of the shared room with these outputs at 1/3 Hz.
Client warmClient(std::span<const uint8_t> ids) {
    vorn_init();
    Client client(Scenario({ids.begin(), ids.end()}));
    client.subscribe();
    for (int i = 0; i < kWarmUpCycles; ++i) client.cycle();
    return client;
}

void runCycles(benchmark::State& state, std::span<const uint8_t> ids) {
    Client client = warmClient(ids);
    uint64_t written = 0;
    for (auto _ : state) written += client.cycle().outputs.size();
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
    state.counters["outputs_per_cycle"] =
        static_cast<double>(written) / static_cast<double>(state.iterations());
}

void BM_CycleHostOutputs(benchmark::State& state) {
    runCycles(state, kHostOutputs);
}
void BM_CycleIaqOnly(benchmark::State& state) {
    runCycles(state, kIaqOnly);
}

void BM_GetState(benchmark::State& state) {
    warmClient(kHostOutputs);  // the state holds learnt values
    std::array<uint8_t, 221> blob{}, work{};
    uint32_t size = 0;
    for (auto _ : state) {
        vorn_get_state(0, blob.data(), blob.size(), work.data(), work.size(), &size);
        benchmark::DoNotOptimize(blob.data());
    }
}

void BM_SetState(benchmark::State& state) {
    warmClient(kHostOutputs);  // the state holds learnt values
    std::array<uint8_t, 221> blob{}, work{};
    uint32_t size = 0;
    vorn_get_state(0, blob.data(), blob.size(), work.data(), work.size(), &size);
    for (auto _ : state) {
        const int32_t rc = vorn_set_state(blob.data(), size, work.data(), work.size());
        benchmark::DoNotOptimize(rc);
    }
}

}  // namespace

BENCHMARK(BM_CycleHostOutputs);
BENCHMARK(BM_CycleIaqOnly);
BENCHMARK(BM_GetState);
BENCHMARK(BM_SetState);

BENCHMARK_MAIN();
