// Writes the seed corpora of the fuzz targets from real exports: the defaults
// right after construction, the learnt state after a simulated day at 1/3 Hz and
// at 1/300 Hz, and hand-made hostile variants of them (fields no run produces,
// sealed with a valid frame). Usage: make_corpus <corpus root>  (writes <root>/<target>/seed_*).
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "fuzz_driver.h"
#include "fuzz_support.h"

namespace {

using namespace vorn_fuzz;
using Bytes = std::vector<uint8_t>;

void writeSeed(const std::string& root, const char* target, const std::string& name,
               const Bytes& bytes) {
    const std::string path = root + "/" + target + "/seed_" + name;
    FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) {
        std::perror(path.c_str());
        std::exit(1);
    }
    if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
}

// Control bytes of the blob targets: work size = blob size, no frame repair, a
// subscription and one cycle before the import, a few cycles after it.
Bytes blobSeed(const Bytes& blob, uint8_t repair) {
    Bytes seed = {18, repair, 0x1B};
    seed.insert(seed.end(), blob.begin(), blob.end());
    return seed;
}

Bytes stateFile(const Bytes& blob) {
    const std::string line = std::to_string(blob.size()) + "\n";
    Bytes file(line.begin(), line.end());
    file.insert(file.end(), blob.begin(), blob.end());
    return file;
}

void simulate(float rate, int cycles) {
    vorn_init();
    const uint8_t ids[] = {OUT_IAQ_INDEX, OUT_IAQ_FIXED_SCALE, OUT_GAS_SCALE_PERCENT,
                           OUT_COMPENSATED_TEMPERATURE, OUT_COMPENSATED_HUMIDITY};
    subscribeAll(rate, ids, 5);
    Driver driver;
    std::array<OutputSample, 14> outputs{};
    for (int i = 0; i < cycles; ++i) {
        uint8_t count = static_cast<uint8_t>(outputs.size());
        driver.runCycle(static_cast<uint8_t>(i / 97), outputs.data(), count);
    }
}

// ---- Hand-made hostile blobs: real exports with chosen fields overwritten ----

// Section offsets of the default exports (configuration and state).
constexpr size_t kConfigBaseline = 16, kConfigIaq = 64, kConfigStatus = 108, kConfigHeat = 117,
                 kConfigHumidity = 205, kConfigHyper = 217;
constexpr size_t kStateBaseline = 16, kStateIaq = 61, kStateStatus = 89, kStateHeat = 111,
                 kStateHumidity = 123;

template <typename T>
void put(Bytes& blob, size_t offset, T value) {
    std::memcpy(blob.data() + offset, &value, sizeof(value));
}

Bytes sealed(Bytes blob) {
    refreshFrame(blob);
    return blob;
}

void writeHostileSeeds(const std::string& root, const Bytes& configuration, const Bytes& state) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();

    // Learnt state that no run produces: NaN and infinite bounds and statuses, huge
    // counters, a zero interval and zero band scale, clocks at the ends of the range.
    Bytes s = state;
    put(s, kStateBaseline + 4, nan);
    put(s, kStateBaseline + 12, inf);
    put(s, kStateBaseline + 24, uint16_t{0});  // samplIntvl 0
    put(s, kStateBaseline + 28, 1e30f);        // trackStatus far beyond 3
    put(s, kStateBaseline + 32, nan);
    put(s, kStateBaseline + 36, uint16_t{65535});
    put(s, kStateBaseline + 40, 0.0f);  // rangeScale 0: zero-width bands
    put(s, kStateBaseline + 44, uint8_t{0});
    put(s, kStateIaq + 4, nan);
    put(s, kStateIaq + 8, -inf);
    put(s, kStateStatus + 4, std::numeric_limits<int64_t>::min());
    put(s, kStateStatus + 12, nan);
    put(s, kStateStatus + 16, inf);
    put(s, kStateHeat + 4, std::numeric_limits<int64_t>::min());
    put(s, kStateHumidity + 4, nan);
    writeSeed(root, "fuzz_state_blob", "hostile_values", blobSeed(sealed(s), 0));
    writeSeed(root, "fuzz_state_file", "hostile_values", stateFile(sealed(s)));

    // Equal bounds: a band of zero width, which only an import can produce.
    Bytes flat = state;
    for (size_t k = 0; k < 4; ++k) put(flat, kStateBaseline + 4 + 4 * k, 5.0f);
    put(flat, kStateBaseline + 28, 3.0f);
    writeSeed(root, "fuzz_state_blob", "hostile_flat_band", blobSeed(sealed(flat), 0));

    // A first section that claims to run past the payload, and one of length 0.
    Bytes past = state;
    put(past, kStateBaseline, uint16_t{200});
    writeSeed(root, "fuzz_state_blob", "hostile_section_past_end", blobSeed(sealed(past), 0));
    Bytes zero = state;
    put(zero, kStateIaq, uint16_t{0});
    writeSeed(root, "fuzz_state_blob", "hostile_section_length_0", blobSeed(sealed(zero), 0));

    // Configuration values that divide by zero or overflow when derived or used.
    Bytes c = configuration;
    put(c, kConfigBaseline + 4, 0.0f);   // decay time constant 0
    put(c, kConfigBaseline + 12, 0.0f);  // rise time 0
    put(c, kConfigBaseline + 16, nan);   // humidity slope
    put(c, kConfigBaseline + 32, uint16_t{65535});
    put(c, kConfigBaseline + 40, -100.0f);  // hold-off exponent: exp(100)
    put(c, kConfigBaseline + 44, 1e30f);
    put(c, kConfigIaq + 7, uint16_t{0});  // index scale 0
    put(c, kConfigIaq + 24, 0.0f);        // log10 of a zero estimate
    put(c, kConfigStatus + 4, nan);
    put(c, kConfigStatus + 8, int8_t{-1});  // gap factor below zero
    put(c, kConfigHeat + 4, inf);
    put(c, kConfigHeat + 84, nan);
    put(c, kConfigHumidity + 4, inf);
    writeSeed(root, "fuzz_configuration_blob", "hostile_module_values", blobSeed(sealed(c), 0));

    // Hyper sections: every allowed interval empty (schedule modulus 0); outputs
    // requested at interval 0 and 1 with a base interval of 0; odd heater table.
    Bytes h = configuration;
    for (size_t k = 0; k < 84; ++k) put(h, kConfigHyper + 31 + 2 * k, uint16_t{65535});
    writeSeed(root, "fuzz_configuration_blob", "hostile_no_intervals", blobSeed(sealed(h), 0));
    Bytes z = configuration;
    for (size_t k = 0; k < 14; ++k)
        put(z, kConfigHyper + 199 + 2 * k, static_cast<uint16_t>(k % 2));
    for (size_t k = 0; k < 4; ++k) put(z, kConfigHyper + 7 + 2 * k, uint16_t{0});
    put(z, kConfigHyper + 227, uint16_t{0});
    put(z, kConfigHyper + 4, uint8_t{255});
    writeSeed(root, "fuzz_configuration_blob", "hostile_zero_intervals", blobSeed(sealed(z), 0));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <corpus root>\n", argv[0]);
        return 2;
    }
    const std::string root = argv[1];

    vorn_init();
    const Bytes defaultConfiguration = exportBlob(true);
    const Bytes defaultState = exportBlob(false);
    simulate(0.33333f, 28800);  // one day at 3 s
    const Bytes learntState = exportBlob(false);
    simulate(1.0f / 300.0f, 288);  // one day at 300 s
    const Bytes learntStateSlow = exportBlob(false);

    const Bytes empty = sealed(Bytes(kFrameSize, 0));
    Bytes damaged = stateFile(learntState);
    damaged[10] ^= 0x40;
    const struct {
        const char* target;
        const char* name;
        Bytes bytes;
    } seeds[] = {
        {"fuzz_configuration_blob", "default", blobSeed(defaultConfiguration, 0)},
        {"fuzz_configuration_blob", "default_repair", blobSeed(defaultConfiguration, 2)},
        {"fuzz_configuration_blob", "empty", blobSeed(empty, 0)},
        {"fuzz_configuration_blob", "state_as_configuration", blobSeed(learntState, 0)},
        {"fuzz_state_blob", "default", blobSeed(defaultState, 0)},
        {"fuzz_state_blob", "learnt_3s", blobSeed(learntState, 0)},
        {"fuzz_state_blob", "learnt_300s", blobSeed(learntStateSlow, 2)},
        {"fuzz_state_blob", "empty", blobSeed(empty, 0)},
        {"fuzz_state_blob", "configuration_as_state", blobSeed(defaultConfiguration, 0)},
        {"fuzz_state_file", "learnt", stateFile(learntState)},
        {"fuzz_state_file", "default", stateFile(defaultState)},
        {"fuzz_state_file", "zero", Bytes{'0', '\n'}},
        {"fuzz_state_file", "empty", Bytes{}},
        {"fuzz_state_file", "bad_checksum", damaged},
        // The call-sequence target reads its operations from the end of the input and
        // bulk bytes (random blobs) from the front: exports as bulk bytes make random
        // blobs start out close to real ones.
        {"fuzz_call_sequence", "sequence_0", learntState},
        {"fuzz_call_sequence", "sequence_1", defaultConfiguration},
        {"fuzz_call_sequence", "sequence_2", Bytes(256, 0x07)},
    };
    for (const auto& seed : seeds) writeSeed(root, seed.target, seed.name, seed.bytes);
    writeHostileSeeds(root, defaultConfiguration, learntState);

    std::printf("corpora written under %s\n", root.c_str());
    return 0;
}
