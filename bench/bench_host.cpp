// Benchmark of one host call: proccess_gsx_data builds the library, restores the state
// file, runs one measurement and writes the state file back (write, flush to disk,
// rename), in a private temporary directory.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "client.h"
#include "vorn_host.h"

namespace {

// Runs the host call in a fresh directory under base.
void hostCall(benchmark::State& state, const char* base) {
    std::string pattern = std::string(base) + "/vorn_bench_XXXXXX";
    char* dir = pattern.data();
    if (mkdtemp(dir) == nullptr || chdir(dir) != 0) {
        state.SkipWithError("no temporary directory");
        return;
    }
    float out[7] = {};
    int32_t timeS = 3;
    for (auto _ : state) {
        const vorn_test::Reading& r = vorn_test::sharedRoom().at(timeS * vorn_test::kSecond);
        proccess_gsx_data(timeS, out, r.temperature, r.pressure, r.humidity, r.gas);
        timeS += 3;
    }
    std::remove(VORN_STATE_FILE_NAME);
    if (chdir("/") == 0) rmdir(dir);
}

}  // namespace

// On the disk: the flush to disk of every state file dominates.
void BM_HostCall(benchmark::State& state) {
    hostCall(state, "/tmp");
}
// On a memory file system the flush costs nothing: what is left is the library and
// the file system calls.
void BM_HostCallTmpfs(benchmark::State& state) {
    hostCall(state, "/dev/shm");
}

BENCHMARK(BM_HostCall)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_HostCallTmpfs)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
