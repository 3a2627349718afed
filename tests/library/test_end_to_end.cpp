// A simulated day at 3 s driven as a client drives the library: ask vorn_sensor_control
// what to measure, measure that from a synthetic room (daily cycles, slow drift, VOC
// events), hand it to vorn_do_steps.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <vector>

#include "library_client.h"

namespace {

using namespace vorn_test;

constexpr int64_t kStartNs = 1'700'000'000 * kSecond;
constexpr int kStepsPerDay = 86400 / 3;

// Room air at s seconds since the start.
double cycle(double s, double period = 86400.0) { return std::sin(6.283185307179586 * s / period); }
float temperature(double s) { return static_cast<float>(22.0 + 3.0 * cycle(s)); }
float gas(double s) {
    const double clean = 150000.0 * std::exp(-s / (20 * 86400.0)) * (1.0 + 0.03 * cycle(s));
    double voc = 0.0;  // each event pulls the resistance down for about an hour
    for (double hour : {4.0, 9.5, 13.0, 19.0}) {
        const double since = s - hour * 3600.0;
        if (since > 0) voc += (1.0 - std::exp(-since / 300.0)) * std::exp(-since / 1800.0);
    }
    return static_cast<float>(clean / (1.0 + 4.0 * voc));
}

struct Record {
    uint32_t inputMask;
    int32_t status;
    std::vector<OutputSample> outputs;
};

// Calls [first, last) as a client; the first call happens at `at`.
std::vector<Record> run(int first, int last, int64_t& at) {
    std::vector<Record> records;
    for (int k = first; k < last; ++k) {
        const SensorSettings plan = control(at);
        const double s = static_cast<double>(at - kStartNs) / 1e9;
        const float values[] = {static_cast<float>(100800.0 + 250.0 * cycle(s, 3 * 86400.0)),
                                static_cast<float>(42.0 - 8.0 * cycle(s)), temperature(s), gas(s)};
        std::vector<InputSample> inputs;
        for (uint8_t id = IN_PRESSURE; id <= IN_GAS_RESISTANCE; ++id) {
            if (plan.input_mask & (1u << (id - 1))) inputs.push_back(sample(id, at, values[id - 1]));
        }
        const Step result = step(inputs);
        records.push_back({plan.input_mask, result.status, result.outputs});
        at = plan.next_call_ns;
    }
    return records;
}

// Every output a host uses, plus the two status flags.
void subscribeAll() {
    std::vector<std::pair<uint8_t, float>> requests;
    for (int id : {1, 2, 3, 4, 6, 7, 8, 9, 12, 13, 14, 15}) {
        requests.emplace_back(static_cast<uint8_t>(id), kRate3s);
    }
    ASSERT_EQ(subscribe(requests).status, RC_OK);
}

class EndToEnd : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        vorn_init();
        subscribeAll();
        int64_t at = kStartNs;
        day = run(0, kStepsPerDay, at);
    }
    static inline std::vector<Record> day;
};

TEST_F(EndToEnd, OutputsStayInRangeFlagsRiseAndIaqCalibrates) {
    bool accurate = false;
    float cleanMax = 0.0f, eventMax = 0.0f;  // IAQ before and during the 13:00 event
    for (size_t k = 0; k < day.size(); ++k) {
        SCOPED_TRACE(k);
        ASSERT_EQ(day[k].inputMask, 0x0Fu);
        ASSERT_EQ(day[k].status, RC_OK);
        ASSERT_EQ(day[k].outputs.size(), 12u);
        const double s = static_cast<double>(k) * 3.0, hour = s / 3600.0;
        for (const OutputSample& o : day[k].outputs) {
            ASSERT_TRUE(std::isfinite(o.value)) << int{o.id};
            ASSERT_EQ(o.timestamp_ns, kStartNs + static_cast<int64_t>(k) * 3 * kSecond);
            ASSERT_LE(o.accuracy, 3);
            ASSERT_TRUE(o.id > OUT_EXPONENTIAL_ESTIMATE || o.value >= 0.0f) << int{o.id};
            ASSERT_TRUE(o.id != OUT_COMPENSATED_HUMIDITY || (o.value >= 0.0f && o.value <= 100.0f));
            ASSERT_TRUE(o.id != OUT_COMPENSATED_TEMPERATURE ||
                        std::fabs(o.value - temperature(s)) < 5.0f);
            ASSERT_TRUE(o.id != OUT_PASSTHROUGH_GAS || o.value == gas(s));
            // Accumulated time needs nothing by default; continuous time needs 300 s of
            // gas samples 3 s apart, reached on the 101st increment.
            ASSERT_TRUE(o.id != OUT_ACCUMULATED_TIME_FLAG || o.value == 1.0f);
            ASSERT_TRUE(o.id != OUT_CONTINUOUS_TIME_FLAG || o.value == (k >= 101 ? 1.0f : 0.0f));
        }
        const OutputSample& iaq = day[k].outputs.front();
        ASSERT_TRUE(iaq.id == OUT_IAQ_INDEX && iaq.value <= 500.0f);
        accurate = accurate || iaq.accuracy == 3;
        if (hour > 12.0 && hour < 12.9) cleanMax = std::max(cleanMax, iaq.value);
        if (hour > 13.0 && hour < 14.0) eventMax = std::max(eventMax, iaq.value);
    }
    EXPECT_TRUE(accurate);
    EXPECT_GT(eventMax, cleanMax + 50.0f);
}

// After a restart the scheduler starts over while the modules continue from the saved
// state; at the time the last plan named, the run must continue bit for bit.
TEST_F(EndToEnd, SaveRestartRestoreContinuesIdentically) {
    constexpr int kSaveAfter = kStepsPerDay / 2 + 17, kCompared = 2000;
    vorn_init();
    subscribeAll();
    int64_t at = kStartNs;
    run(0, kSaveAfter, at);
    uint8_t blob[221], work[221];
    uint32_t size = 0;
    ASSERT_EQ(vorn_get_state(0, blob, sizeof blob, work, sizeof work, &size), RC_OK);
    ASSERT_EQ(vorn_init(), RC_OK);
    ASSERT_EQ(vorn_set_state(blob, size, work, sizeof work), RC_OK);
    subscribeAll();

    const std::vector<Record> resumed = run(kSaveAfter, kSaveAfter + kCompared, at);
    for (size_t i = 0; i < resumed.size(); ++i) {
        const Record& expected = day[kSaveAfter + i];
        ASSERT_EQ(resumed[i].inputMask, expected.inputMask) << i;
        ASSERT_EQ(resumed[i].status, expected.status) << i;
        ASSERT_EQ(resumed[i].outputs.size(), expected.outputs.size()) << i;
        for (size_t j = 0; j < expected.outputs.size(); ++j) {
            const OutputSample &a = resumed[i].outputs[j], &b = expected.outputs[j];
            ASSERT_TRUE(a.id == b.id && a.timestamp_ns == b.timestamp_ns &&
                        a.accuracy == b.accuracy &&
                        std::bit_cast<uint32_t>(a.value) == std::bit_cast<uint32_t>(b.value))
                << "call " << i << " output " << int{a.id};
        }
    }
}

}  // namespace
