// Writes the seed corpora of the fuzz targets from real exports: the defaults
// right after construction, and the learnt state after a simulated day at 1/3 Hz
// and at 1/300 Hz. Usage: make_corpus <corpus root>  (writes <root>/<target>/seed_*).
#include <array>
#include <cstdint>
#include <cstdio>
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

Bytes emptyBlob() {
    Bytes blob(kFrameSize, 0);
    refreshFrame(blob);
    return blob;
}

void simulate(float rate, int cycles) {
    vorn_init();
    std::array<SensorRate, 5> requests{};
    const uint8_t ids[] = {OUT_IAQ_INDEX, OUT_IAQ_FIXED_SCALE, OUT_GAS_SCALE_PERCENT,
                           OUT_COMPENSATED_TEMPERATURE, OUT_COMPENSATED_HUMIDITY};
    for (size_t i = 0; i < requests.size(); ++i) requests[i] = SensorRate{rate, ids[i], {}};
    std::array<SensorRate, 8> required{};
    uint8_t n = 8;
    vorn_update_subscription(requests.data(), static_cast<uint8_t>(requests.size()),
                             required.data(), &n);
    Driver driver;
    std::array<OutputSample, 14> outputs{};
    for (int i = 0; i < cycles; ++i) {
        uint8_t count = static_cast<uint8_t>(outputs.size());
        driver.runCycle(static_cast<uint8_t>(i / 97), outputs.data(), count);
    }
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

    writeSeed(root, "fuzz_configuration_blob", "default", blobSeed(defaultConfiguration, 0));
    writeSeed(root, "fuzz_configuration_blob", "default_repair", blobSeed(defaultConfiguration, 2));
    writeSeed(root, "fuzz_configuration_blob", "empty", blobSeed(emptyBlob(), 0));
    writeSeed(root, "fuzz_configuration_blob", "state_as_configuration", blobSeed(learntState, 0));

    writeSeed(root, "fuzz_state_blob", "default", blobSeed(defaultState, 0));
    writeSeed(root, "fuzz_state_blob", "learnt_3s", blobSeed(learntState, 0));
    writeSeed(root, "fuzz_state_blob", "learnt_300s", blobSeed(learntStateSlow, 2));
    writeSeed(root, "fuzz_state_blob", "empty", blobSeed(emptyBlob(), 0));
    writeSeed(root, "fuzz_state_blob", "configuration_as_state", blobSeed(defaultConfiguration, 0));

    writeSeed(root, "fuzz_state_file", "learnt", stateFile(learntState));
    writeSeed(root, "fuzz_state_file", "default", stateFile(defaultState));
    writeSeed(root, "fuzz_state_file", "zero", Bytes{'0', '\n'});
    writeSeed(root, "fuzz_state_file", "empty", Bytes{});
    Bytes damaged = stateFile(learntState);
    damaged[10] ^= 0x40;
    writeSeed(root, "fuzz_state_file", "bad_checksum", damaged);

    // The call-sequence target reads its operations from the end of the input and
    // bulk bytes (random blobs) from the front; seed it with exports as bulk bytes
    // so that random blobs start out close to real ones.
    const std::array<Bytes, 3> sequences = {learntState, defaultConfiguration, Bytes(256, 0x07)};
    for (size_t i = 0; i < sequences.size(); ++i) {
        writeSeed(root, "fuzz_call_sequence", "sequence_" + std::to_string(i), sequences[i]);
    }
    std::printf("corpora written under %s\n", root.c_str());
    return 0;
}
