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

#include "engine/engine.h"
#include "fuzz_driver.h"
#include "fuzz_support.h"
#include "serialization/blob_frame.h"

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

// Where a record's field lies in an exported blob: its section found by id, the
// field by walking the record's field list. Records serve only to name fields.
constexpr auto kConfig = vorn::SectionKind::kConfiguration;
constexpr auto kState = vorn::SectionKind::kState;
const vorn::GasHumidityBaselineTracker baseline;
const vorn::IaqEstimator iaq;
const vorn::SensorStatusTracker status;
const vorn::SensorHeatCompensator heat;
const vorn::HumidityTemperatureCorrector humidity;
const vorn::Engine engine;

template <typename Record>
size_t sectionAt(const Bytes& blob) {
    size_t position = vorn::kBlobHeaderSize;
    while (blob[position + 2] != Record::kSectionId)
        position += blob[position] | blob[position + 1] << 8;
    return position;
}

template <typename Record, typename Member>
size_t at(const Bytes& blob, vorn::SectionKind kind, const Record& record, const Member& member) {
    size_t offset = vorn::kSectionHeaderSize, found = 0;
    Record::visitFields(record, kind, [&](const auto& field) {
        if (static_cast<const void*>(&field) == static_cast<const void*>(&member)) found = offset;
        offset += sizeof(field);
    });
    return sectionAt<Record>(blob) + found;
}

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
    const auto& b = baseline;
    put(s, at(s, kState, b, b.learnt.robustMax), nan);
    put(s, at(s, kState, b, b.learnt.robustMin), inf);
    put(s, at(s, kState, b, b.derived.samplIntvl), uint16_t{0});
    put(s, at(s, kState, b, b.learnt.trackStatus), 1e30f);  // far beyond 3
    put(s, at(s, kState, b, b.learnt.trackStatus) + 4, nan);
    put(s, at(s, kState, b, b.learnt.holdOffRemaining), uint16_t{65535});
    put(s, at(s, kState, b, b.derived.rangeScale), 0.0f);  // zero-width bands
    put(s, at(s, kState, b, b.derived.inBandThreshold), uint8_t{0});
    put(s, at(s, kState, iaq, iaq.learnt.heldIndex), nan);
    put(s, at(s, kState, iaq, iaq.learnt.heldFixedScaleIndex), -inf);
    put(s, at(s, kState, status, status.learnt.lastTimestamp), std::numeric_limits<int64_t>::min());
    put(s, at(s, kState, status, status.learnt.accumulatedTime), nan);
    put(s, at(s, kState, status, status.learnt.continuousTime), inf);
    put(s, at(s, kState, heat, heat.learnt.prevGasTimestamp), std::numeric_limits<int64_t>::min());
    put(s, at(s, kState, humidity, humidity.learnt.smoothedTemperature), nan);
    writeSeed(root, "fuzz_state_blob", "hostile_values", blobSeed(sealed(s), 0));
    writeSeed(root, "fuzz_state_file", "hostile_values", stateFile(sealed(s)));

    // Equal bounds: a band of zero width, which only an import can produce.
    Bytes flat = state;
    for (size_t k = 0; k < 2; ++k) {
        put(flat, at(flat, kState, b, b.learnt.robustMax) + 4 * k, 5.0f);
        put(flat, at(flat, kState, b, b.learnt.robustMin) + 4 * k, 5.0f);
    }
    put(flat, at(flat, kState, b, b.learnt.trackStatus), 3.0f);
    writeSeed(root, "fuzz_state_blob", "hostile_flat_band", blobSeed(sealed(flat), 0));

    // A first section that claims to run past the payload, and one of length 0.
    Bytes past = state;
    put(past, sectionAt<vorn::GasHumidityBaselineTracker>(past), uint16_t{200});
    writeSeed(root, "fuzz_state_blob", "hostile_section_past_end", blobSeed(sealed(past), 0));
    Bytes zero = state;
    put(zero, sectionAt<vorn::IaqEstimator>(zero), uint16_t{0});
    writeSeed(root, "fuzz_state_blob", "hostile_section_length_0", blobSeed(sealed(zero), 0));

    // Configuration values that divide by zero or overflow when derived or used.
    Bytes c = configuration;
    put(c, at(c, kConfig, b, b.settings.decayTimeConstant), 0.0f);
    put(c, at(c, kConfig, b, b.settings.riseTime), 0.0f);
    put(c, at(c, kConfig, b, b.settings.humiditySlope), nan);
    put(c, at(c, kConfig, b, b.settings.holdOffTarget), uint16_t{65535});
    put(c, at(c, kConfig, b, b.settings.holdOffExponent), -100.0f);  // exp(100)
    put(c, at(c, kConfig, b, b.settings.holdOffExponent) + 4, 1e30f);
    put(c, at(c, kConfig, iaq, iaq.settings.indexScale), uint16_t{0});
    put(c, at(c, kConfig, iaq, iaq.settings.expValueLow), 0.0f);  // log10 of a zero estimate
    put(c, at(c, kConfig, status, status.settings.accumulatedTimeRequired), nan);
    put(c, at(c, kConfig, status, status.settings.gapFactor), int8_t{-1});
    put(c, at(c, kConfig, heat, heat.settings.coeffA), inf);
    put(c, at(c, kConfig, heat, heat.settings.fixedCompensation), nan);
    put(c, at(c, kConfig, humidity, humidity.settings.humidityPoly), inf);
    writeSeed(root, "fuzz_configuration_blob", "hostile_module_values", blobSeed(sealed(c), 0));

    // Hyper sections: every allowed interval empty (schedule modulus 0); outputs
    // requested at interval 0 and 1 with a base interval of 0; odd heater table.
    const auto& e = engine;
    Bytes h = configuration;
    for (size_t k = 0; k < sizeof(e.allowedOutputIntvl) / 2; ++k)
        put(h, at(h, kConfig, e, e.allowedOutputIntvl) + 2 * k, uint16_t{65535});
    writeSeed(root, "fuzz_configuration_blob", "hostile_no_intervals", blobSeed(sealed(h), 0));
    Bytes z = configuration;
    for (size_t k = 0; k < e.defaultOutputIntvl.size(); ++k)
        put(z, at(z, kConfig, e, e.defaultOutputIntvl) + 2 * k, static_cast<uint16_t>(k % 2));
    for (size_t k = 0; k < e.gasIntvlList.size(); ++k)
        put(z, at(z, kConfig, e, e.gasIntvlList) + 2 * k, uint16_t{0});
    put(z, at(z, kConfig, e, e.baseIntvl), uint16_t{0});
    put(z, at(z, kConfig, e, e.temperatureOversampling), uint8_t{255});
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
