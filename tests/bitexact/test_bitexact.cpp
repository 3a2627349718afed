// Bit-identity guard for speed work: a week of the shared room driven through the
// exported C functions by the shared client, hashed hour by hour (every output's id,
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
#include <fstream>
#include <iomanip>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "blobs.h"
#include "client.h"

namespace {

using namespace vorn_test;

constexpr int kDays = 7;

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

struct Week {
    const char* name;
    Scenario scenario;
    bool dailyReload;   // at midnight: export the state, vorn_init, import it again
    bool midweekReset;  // vorn_reset_output(OUT_IAQ_INDEX) at day 3, noon
};

Scenario weekOf(std::span<const uint8_t> outputs, float rate, std::optional<float> offset = {}) {
    Scenario s({outputs.begin(), outputs.end()}, rate, kDays * kDay);
    s.temperatureOffset = offset;
    return s;
}

const Week kWeeks[] = {
    {"host_outputs_daily_reload", weekOf(kHostOutputs, kRate3s), true, false},
    {"all_outputs_offset_reset", weekOf(kAllOutputs, kRate3s, 0.5f), false, true},
    {"iaq_chain_every_300s", weekOf(std::array<uint8_t, 8>{1, 2, 3, 4, 14, 15, 18, 21}, kRate300s),
     true, false},
};

struct Result {
    std::vector<uint64_t> hourly;  // one hash per hour of the week
    std::string finalState;        // hex
    // What any recording must show, so that a re-recorded reference cannot hide nonsense:
    // outputs finite with their accuracy 0..3 and the index within 0..500, which calibrates.
    bool sane = true, calibrated = false;
};

std::string hex(const std::vector<uint8_t>& bytes) {
    std::string s;
    for (const uint8_t b : bytes) s += {"0123456789abcdef"[b >> 4], "0123456789abcdef"[b & 15]};
    return s;
}

// Each cycle is hashed; what happens between two cycles (the hour's hash closed, a
// reload, the reset) is done once the next call's time is known.
Result run(const Week& w) {
    Result result;
    Hash hash;
    int64_t hourEnd = kStartNs + kHour, nextMidnight = kStartNs + kDay;
    bool resetDone = false;
    const int64_t end = w.scenario.end;
    drive(w.scenario, [&](const Cycle& s, Client& client) {
        hash.add(s.controlStatus);
        hash.add(s.plan);
        hash.add(s.status);
        hash.add(static_cast<uint8_t>(s.outputs.size()));
        for (const OutputSample& o : s.outputs) {
            hash.add(o.id);
            hash.add(o.timestamp_ns);
            hash.add(std::bit_cast<uint32_t>(o.value));
            hash.add(o.accuracy);
            const bool iaq = o.id == OUT_IAQ_INDEX;
            result.sane = result.sane && std::isfinite(o.value) && o.accuracy <= 3 &&
                          (!iaq || (o.value >= 0.0f && o.value <= 500.0f));
            result.calibrated = result.calibrated || (iaq && o.accuracy == 3);
        }
        const int64_t next = client.now();
        if (s.plan.next_call_ns <= s.time) {
            ADD_FAILURE() << "schedule does not advance at " << s.time;
            client.setNow(end);
        }
        for (; next >= hourEnd; hourEnd += kHour) {
            result.hourly.push_back(hash.h);
            hash = Hash{};
        }
        if (next >= end) return;
        if (w.dailyReload && next >= nextMidnight) {
            hash.add(client.restart());
            nextMidnight += kDay;
        }
        if (w.midweekReset && !resetDone && next >= kStartNs + 60 * kHour) {
            hash.add(vorn_reset_output(OUT_IAQ_INDEX));
            resetDone = true;
        }
    });
    while (static_cast<int>(result.hourly.size()) < kDays * 24) {
        result.hourly.push_back(hash.h);
        hash = Hash{};
    }
    result.finalState = hex(exportBlob(BlobKind::State));
    return result;
}

// Reference file: "<scenario> <hour> <hash hex>" lines and "<scenario> state <hex>".
using Reference = std::map<std::string, Result>;

Reference readReference() {
    Reference ref;
    std::ifstream in(VORN_BITEXACT_REFERENCE);
    std::string name, key, value;
    while (in >> name >> key >> value) {
        if (key == "state")
            ref[name].finalState = value;
        else
            ref[name].hourly.push_back(std::stoull(value, nullptr, 16));
    }
    return ref;
}

void writeReference() {
    std::ofstream out(VORN_BITEXACT_REFERENCE);
    for (const Week& sc : kWeeks) {
        const Result r = run(sc);
        for (size_t h = 0; h < r.hourly.size(); ++h) {
            out << sc.name << ' ' << std::dec << h << ' ' << std::hex << std::setw(16)
                << std::setfill('0') << r.hourly[h] << '\n';
        }
        out << sc.name << " state " << r.finalState << "\n";
    }
}

class BitExact : public ::testing::TestWithParam<Week> {};

TEST_P(BitExact, WeekMatchesReferenceRun) {
    static const bool recorded = [] {
        if (std::getenv("VORN_BITEXACT_RECORD") != nullptr) writeReference();
        return true;
    }();
    ASSERT_TRUE(recorded);
    const Week& sc = GetParam();
    const Reference ref = readReference();
    const auto it = ref.find(sc.name);
    ASSERT_NE(it, ref.end()) << "no reference for " << sc.name << " in " VORN_BITEXACT_REFERENCE;
    const Result got = run(sc);
    EXPECT_TRUE(got.sane && got.calibrated);
    ASSERT_EQ(got.hourly.size(), it->second.hourly.size());
    for (size_t h = 0; h < got.hourly.size(); ++h) {
        ASSERT_EQ(got.hourly[h], it->second.hourly[h])
            << "outputs first differ in hour " << h << " (day " << h / 24 << ")";
    }
    EXPECT_EQ(got.finalState, it->second.finalState) << "final state blob differs";
}

std::string scenarioName(const ::testing::TestParamInfo<Week>& param) {
    return param.param.name;
}

INSTANTIATE_TEST_SUITE_P(Week, BitExact, ::testing::ValuesIn(kWeeks), scenarioName);

}  // namespace
