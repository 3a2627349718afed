// Benchmark of one host call: proccess_gsx_data builds the library, restores the state
// file, runs one measurement and writes the state file back (write, flush to disk,
// rename), in a private temporary directory.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench_signal.h"
#include "vorn_host.h"

namespace {

void BM_HostCall(benchmark::State& state) {
    char dir[] = "/tmp/vorn_bench_XXXXXX";
    if (mkdtemp(dir) == nullptr || chdir(dir) != 0) {
        state.SkipWithError("no temporary directory");
        return;
    }
    const auto& day = vorn_bench::makeDay();
    float out[7] = {};
    int32_t timeS = 3;
    size_t i = 0;
    for (auto _ : state) {
        const vorn_bench::Reading& r = day[i];
        proccess_gsx_data(timeS, out, r.temperature, r.pressure, r.humidity, r.gas);
        timeS += 3;
        if (++i == day.size()) i = 0;
    }
    std::remove(VORN_STATE_FILE_NAME);
    if (chdir("/") == 0) rmdir(dir);
}

}  // namespace

BENCHMARK(BM_HostCall)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
