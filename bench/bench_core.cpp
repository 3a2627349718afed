// Benchmarks of the exported operations on the hot path: one measurement cycle
// (vorn_sensor_control, then vorn_do_steps with what it asked for) with the host
// layer's ten outputs and with the IAQ index alone, and the state export and import.
// Every cycle advances the clock by 3 s, so the library sees a continuous run.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>

#include "bench_signal.h"
#include "vorn/vorn.h"

namespace {

constexpr int64_t kStepNs = 3'000'000'000;
constexpr float kRate = 0.33333f;
constexpr uint8_t kHostOutputs[] = {1, 14, 7, 15, 9, 6, 8, 2, 3, 4};
constexpr uint8_t kIaqOnly[] = {OUT_IAQ_INDEX};
constexpr int kWarmUpCycles = vorn_bench::kSamplesPerDay;  // one day: every flag settled

const std::vector<vorn_bench::Reading>& day() {
    static const std::vector<vorn_bench::Reading> d = vorn_bench::makeDay();
    return d;
}

template <size_t N>
void subscribe(const uint8_t (&ids)[N]) {
    std::array<SensorRate, N> req{};
    for (size_t i = 0; i < N; ++i) req[i] = SensorRate{kRate, ids[i], {0, 0, 0}};
    std::array<SensorRate, 8> required{};
    uint8_t nRequired = 8;
    vorn_update_subscription(req.data(), N, required.data(), &nRequired);
}

// One client cycle; returns the number of outputs written.
struct Client {
    int64_t t = 1'000'000'000;
    size_t index = 0;
    std::array<OutputSample, 20> outputs{};

    uint8_t cycle() {
        SensorSettings s{};
        vorn_sensor_control(t, &s);
        const vorn_bench::Reading& r = day()[index];
        std::array<InputSample, 4> in{};
        uint8_t n = 0;
        const auto add = [&](uint8_t id, float value) {
            if ((s.input_mask & (1u << (id - 1))) != 0) in[n++] = InputSample{t, value, 1, id, {}};
        };
        add(IN_PRESSURE, r.pressure);
        add(IN_HUMIDITY, r.humidity);
        add(IN_TEMPERATURE, r.temperature);
        add(IN_GAS_RESISTANCE, r.gas);
        uint8_t nOut = static_cast<uint8_t>(outputs.size());
        vorn_do_steps(in.data(), n, outputs.data(), &nOut);
        t += kStepNs;
        if (++index == day().size()) index = 0;
        return nOut;
    }
};

template <size_t N>
void runCycles(benchmark::State& state, const uint8_t (&ids)[N]) {
    vorn_init();
    subscribe(ids);
    Client client;
    for (int i = 0; i < kWarmUpCycles; ++i) client.cycle();
    uint64_t written = 0;
    for (auto _ : state) written += client.cycle();
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

// A library that has run a day, so the state holds learnt values.
void warmLibrary() {
    vorn_init();
    subscribe(kHostOutputs);
    Client client;
    for (int i = 0; i < kWarmUpCycles; ++i) client.cycle();
}

void BM_GetState(benchmark::State& state) {
    warmLibrary();
    std::array<uint8_t, 221> blob{}, work{};
    uint32_t size = 0;
    for (auto _ : state) {
        vorn_get_state(0, blob.data(), blob.size(), work.data(), work.size(), &size);
        benchmark::DoNotOptimize(blob.data());
    }
}

void BM_SetState(benchmark::State& state) {
    warmLibrary();
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
