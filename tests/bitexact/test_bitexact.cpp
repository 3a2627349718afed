// Bit-identity guard for speed work: a simulated week driven through the exported C
// functions exactly as a client drives them, hashed hour by hour (every output's id,
// time stamp, value bits and accuracy, and every status) and compared with the
// recorded reference, together with the final state blob. A mismatch names the first
// differing hour. Re-record (only after an intended behaviour change) with
//   VORN_BITEXACT_RECORD=1 ./test_bitexact
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "vorn/vorn.h"

namespace {

constexpr int64_t kSecondNs = 1'000'000'000;
constexpr int64_t kSampleNs = 3 * kSecondNs;
constexpr int kSamplesPerDay = 28800;
constexpr int kDays = 7;
constexpr int64_t kHourNs = 3600 * kSecondNs;
constexpr int64_t kStartNs = 1'700'000'000 * kSecondNs;  // a wall-clock epoch, as on a device

struct Reading {
    float temperature, pressure, humidity, gas;
};

// A week of room readings every 3 s: daily temperature and humidity swings, slow
// pressure waves, and VOC events that pull the gas resistance down, with noise.
const std::vector<Reading>& week() {
    static const std::vector<Reading> w = [] {
        std::vector<Reading> r(static_cast<size_t>(kSamplesPerDay) * kDays);
        uint64_t s = 0x9E3779B97F4A7C15ull;
        auto uniform = [&s] {
            s ^= s >> 12;
            s ^= s << 25;
            s ^= s >> 27;
            return static_cast<double>((s * 0x2545F4914F6CDD1Dull) >> 11) * 0x1.0p-53;
        };
        double voc = 0.0;
        for (size_t i = 0; i < r.size(); ++i) {
            const double phase = 6.283185307179586 * static_cast<double>(i) / kSamplesPerDay;
            if (uniform() < 0.0005) voc += 200.0 + 800.0 * uniform();
            voc *= 0.9985;
            const double logR = 5.0 - 0.65 * std::log10(1.0 + voc / 40.0) +
                                0.002 * (uniform() - 0.5) - 0.05 * std::sin(phase / 7);
            r[i] = {static_cast<float>(22.6 + 2.0 * std::sin(phase)),
                    static_cast<float>(98000.0 + 300.0 * std::sin(phase / 3)),
                    static_cast<float>(45.0 + 10.0 * std::sin(phase + 1.0)),
                    static_cast<float>(std::pow(10.0, logR))};
        }
        return r;
    }();
    return w;
}

struct Hash {  // FNV-1a, 64 bit
    uint64_t h = 0xcbf29ce484222325ull;
    void add(const void* p, size_t n) {
        const auto* b = static_cast<const uint8_t*>(p);
        for (size_t i = 0; i < n; ++i) h = (h ^ b[i]) * 0x100000001b3ull;
    }
    template <typename T>
    void add(const T& v) {
        add(&v, sizeof v);
    }
};

struct Scenario {
    const char* name;
    std::vector<uint8_t> outputs;
    float rate;
    bool temperatureOffset;  // supply IN_TEMPERATURE_OFFSET whenever asked
    bool dailyReload;        // at midnight: export the state, vorn_init, import it again
    bool midweekReset;       // vorn_reset_output(OUT_IAQ_INDEX) at day 3, noon
};

const Scenario kScenarios[] = {
    {"host_outputs_daily_reload", {1, 14, 7, 15, 9, 6, 8, 2, 3, 4}, 0.33333f, false, true, false},
    {"all_outputs_offset_reset",
     {1, 2, 3, 4, 6, 7, 8, 9, 12, 13, 14, 15, 18, 21},
     0.33333f,
     true,
     false,
     true},
    {"iaq_chain_every_300s", {1, 2, 3, 4, 14, 15, 18, 21}, 1.0f / 300, false, true, false},
};

void subscribe(const Scenario& sc) {
    std::vector<SensorRate> req;
    for (uint8_t id : sc.outputs) req.push_back(SensorRate{sc.rate, id, {0, 0, 0}});
    std::array<SensorRate, 8> required{};
    uint8_t n = 8;
    ASSERT_EQ(
        vorn_update_subscription(req.data(), static_cast<uint8_t>(req.size()), required.data(), &n),
        RC_OK);
}

std::vector<uint8_t> exportState() {
    std::array<uint8_t, 256> blob{}, work{};
    uint32_t size = 0;
    EXPECT_EQ(vorn_get_state(0, blob.data(), blob.size(), work.data(), work.size(), &size), RC_OK);
    return {blob.begin(), blob.begin() + size};
}

struct Result {
    std::vector<uint64_t> hourly;  // one hash per hour of the week
    std::string finalState;        // hex
};

std::string hex(const std::vector<uint8_t>& bytes) {
    std::string s;
    char buf[3];
    for (uint8_t b : bytes) {
        std::snprintf(buf, sizeof buf, "%02x", b);
        s += buf;
    }
    return s;
}

Result run(const Scenario& sc) {
    vorn_init();
    subscribe(sc);
    Result result;
    Hash hash;
    int64_t t = kStartNs;
    int64_t hourEnd = kStartNs + kHourNs;
    int64_t nextMidnight = kStartNs + 24 * kHourNs;
    bool resetDone = false;
    const int64_t endNs = kStartNs + kDays * 24 * kHourNs;
    while (t < endNs) {
        while (t >= hourEnd) {
            result.hourly.push_back(hash.h);
            hash = Hash{};
            hourEnd += kHourNs;
        }
        if (sc.dailyReload && t >= nextMidnight) {
            std::vector<uint8_t> blob = exportState();
            std::array<uint8_t, 256> work{};
            vorn_init();
            hash.add(vorn_set_state(blob.data(), static_cast<uint32_t>(blob.size()), work.data(),
                                    work.size()));
            subscribe(sc);
            nextMidnight += 24 * kHourNs;
        }
        if (sc.midweekReset && !resetDone && t >= kStartNs + 60 * kHourNs) {
            hash.add(vorn_reset_output(OUT_IAQ_INDEX));
            resetDone = true;
        }
        SensorSettings s{};
        hash.add(vorn_sensor_control(t, &s));
        hash.add(s);
        const Reading& r = week()[static_cast<size_t>((t - kStartNs) / kSampleNs)];
        std::array<InputSample, 5> in{};
        uint8_t n = 0;
        const auto add = [&](uint8_t id, float value) {
            if ((s.input_mask & (1u << (id - 1))) != 0) in[n++] = InputSample{t, value, 1, id, {}};
        };
        add(IN_PRESSURE, r.pressure);
        add(IN_HUMIDITY, r.humidity);
        add(IN_TEMPERATURE, r.temperature);
        add(IN_GAS_RESISTANCE, r.gas);
        if (sc.temperatureOffset) add(IN_TEMPERATURE_OFFSET, 0.5f);
        std::array<OutputSample, 20> out{};
        uint8_t nOut = static_cast<uint8_t>(out.size());
        hash.add(vorn_do_steps(in.data(), n, out.data(), &nOut));
        hash.add(nOut);
        for (uint8_t i = 0; i < nOut; ++i) {
            hash.add(out[i].id);
            hash.add(out[i].timestamp_ns);
            hash.add(std::bit_cast<uint32_t>(out[i].value));
            hash.add(out[i].accuracy);
        }
        if (s.next_call_ns <= t) {
            ADD_FAILURE() << "schedule does not advance at " << t;
            break;
        }
        t = s.next_call_ns;
    }
    while (static_cast<int>(result.hourly.size()) < kDays * 24) {
        result.hourly.push_back(hash.h);
        hash = Hash{};
    }
    result.finalState = hex(exportState());
    return result;
}

// Reference file: "<scenario> <hour> <hash hex>" lines and "<scenario> state <hex>".
using Reference = std::map<std::string, Result>;

Reference readReference() {
    Reference ref;
    std::ifstream in(VORN_BITEXACT_REFERENCE);
    std::string name, key, value;
    while (in >> name >> key >> value) {
        if (key == "state") {
            ref[name].finalState = value;
        } else {
            ref[name].hourly.push_back(std::stoull(value, nullptr, 16));
        }
    }
    return ref;
}

void writeReference() {
    std::ofstream out(VORN_BITEXACT_REFERENCE);
    for (const Scenario& sc : kScenarios) {
        const Result r = run(sc);
        for (size_t h = 0; h < r.hourly.size(); ++h) {
            char line[64];
            std::snprintf(line, sizeof line, "%s %zu %016llx\n", sc.name, h,
                          static_cast<unsigned long long>(r.hourly[h]));
            out << line;
        }
        out << sc.name << " state " << r.finalState << "\n";
    }
}

class BitExact : public ::testing::TestWithParam<Scenario> {};

TEST_P(BitExact, WeekMatchesReferenceRun) {
    static const bool recorded = [] {
        if (std::getenv("VORN_BITEXACT_RECORD") != nullptr) writeReference();
        return true;
    }();
    ASSERT_TRUE(recorded);
    const Scenario& sc = GetParam();
    const Reference ref = readReference();
    const auto it = ref.find(sc.name);
    ASSERT_NE(it, ref.end()) << "no reference for " << sc.name << " in " VORN_BITEXACT_REFERENCE;
    const Result got = run(sc);
    ASSERT_EQ(got.hourly.size(), it->second.hourly.size());
    for (size_t h = 0; h < got.hourly.size(); ++h) {
        ASSERT_EQ(got.hourly[h], it->second.hourly[h])
            << "outputs first differ in hour " << h << " (day " << h / 24 << ")";
    }
    EXPECT_EQ(got.finalState, it->second.finalState) << "final state blob differs";
}

std::string scenarioName(const ::testing::TestParamInfo<Scenario>& param) {
    return param.param.name;
}

INSTANTIATE_TEST_SUITE_P(Week, BitExact, ::testing::ValuesIn(kScenarios), scenarioName);

}  // namespace
