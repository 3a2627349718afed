// One simulated day at 3 s driven exactly as a client drives the library: ask
// vorn_sensor_control what to measure, measure only that from a smooth synthetic
// environment (slow drift, daily cycles, a few VOC events), hand it to
// vorn_do_steps. Checks the IAQ chain calibrates, the status flags rise on time,
// every output stays finite and in range, and a save / restart / restore mid-run
// continues with outputs identical to the uninterrupted run.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <vector>

#include "library_client.h"

namespace {

using namespace vorn_test;

constexpr int64_t kStartNs = 1'700'000'000 * kSecond;  // a wall-clock-like epoch
constexpr int kStepsPerDay = 86400 / 3;
constexpr double kTwoPi = 6.283185307179586;
constexpr double kDay = 86400.0;

// The host's ten outputs, plus the two status flags so that their timing shows.
const std::vector<std::pair<uint8_t, float>> kSubscription = {
    {OUT_IAQ_INDEX, kRate3s},
    {OUT_COMPENSATED_TEMPERATURE, kRate3s},
    {OUT_PASSTHROUGH_PRESSURE, kRate3s},
    {OUT_COMPENSATED_HUMIDITY, kRate3s},
    {OUT_PASSTHROUGH_GAS, kRate3s},
    {OUT_PASSTHROUGH_TEMPERATURE, kRate3s},
    {OUT_PASSTHROUGH_HUMIDITY, kRate3s},
    {OUT_IAQ_FIXED_SCALE, kRate3s},
    {OUT_LINEAR_ESTIMATE, kRate3s},
    {OUT_EXPONENTIAL_ESTIMATE, kRate3s},
    {OUT_ACCUMULATED_TIME_FLAG, kRate3s},
    {OUT_CONTINUOUS_TIME_FLAG, kRate3s}};

// Room air over the day at time s seconds since the start.
struct Environment {
    static double cycle(double s) { return std::sin(kTwoPi * s / kDay); }
    static float temperature(double s) { return static_cast<float>(22.0 + 3.0 * cycle(s)); }
    static float humidity(double s) { return static_cast<float>(42.0 - 8.0 * cycle(s)); }
    static float pressure(double s) { return static_cast<float>(100800.0 + 250.0 * cycle(s / 3)); }
    // Clean-air resistance drifting down slowly; VOC events pull it down for an hour.
    static float gas(double s) {
        const double clean = 150000.0 * std::exp(-s / (20 * kDay)) * (1.0 + 0.03 * cycle(s));
        double voc = 0.0;
        for (double hour : {4.0, 9.5, 13.0, 19.0}) {
            const double since = s - hour * 3600.0;
            if (since > 0) voc += (1.0 - std::exp(-since / 300.0)) * std::exp(-since / 1800.0);
        }
        return static_cast<float>(clean / (1.0 + 4.0 * voc));
    }
};

// Everything one call of the client produced.
struct Record {
    uint32_t inputMask;
    int32_t status;
    std::vector<OutputSample> outputs;
};

// Runs calls [first, last) as a client; the first call happens at `at`.
std::vector<Record> run(int first, int last, int64_t& at) {
    std::vector<Record> records;
    for (int k = first; k < last; ++k) {
        const SensorSettings plan = control(at);
        const double s = static_cast<double>(at - kStartNs) / 1e9;
        const float values[] = {Environment::pressure(s), Environment::humidity(s),
                                Environment::temperature(s), Environment::gas(s)};
        std::vector<InputSample> inputs;
        for (uint8_t id = IN_PRESSURE; id <= IN_GAS_RESISTANCE; ++id) {
            if (plan.input_mask & (1u << (id - 1)))
                inputs.push_back(sample(id, at, values[id - 1]));
        }
        const Step result = step(inputs);
        records.push_back({plan.input_mask, result.status, result.outputs});
        at = plan.next_call_ns;
    }
    return records;
}

void start() {
    vorn_init();
    ASSERT_EQ(subscribe(kSubscription).status, RC_OK);
}

bool sameBits(const OutputSample& a, const OutputSample& b) {
    return a.id == b.id && a.timestamp_ns == b.timestamp_ns && a.accuracy == b.accuracy &&
           std::bit_cast<uint32_t>(a.value) == std::bit_cast<uint32_t>(b.value);
}

class EndToEnd : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        start();
        int64_t at = kStartNs;
        day = run(0, kStepsPerDay, at);
    }
    static std::vector<Record> day;
};
std::vector<Record> EndToEnd::day;

TEST_F(EndToEnd, EveryCallMeasuresAllReadingsAndOutputsStayInRange) {
    for (size_t k = 0; k < day.size(); ++k) {
        ASSERT_EQ(day[k].inputMask, 0x0Fu) << "call " << k;
        ASSERT_EQ(day[k].status, RC_OK) << "call " << k;
        ASSERT_EQ(day[k].outputs.size(), 12u) << "call " << k;
        const double s = static_cast<double>(k) * 3.0;
        uint8_t previousId = 0;
        for (const OutputSample& o : day[k].outputs) {
            ASSERT_GT(o.id, previousId);
            previousId = o.id;
            ASSERT_TRUE(std::isfinite(o.value)) << "output " << int{o.id} << " call " << k;
            ASSERT_EQ(o.timestamp_ns, kStartNs + static_cast<int64_t>(k) * 3 * kSecond);
            ASSERT_LE(o.accuracy, 3);
            const bool iaq = o.id <= OUT_EXPONENTIAL_ESTIMATE;
            ASSERT_TRUE(!iaq || o.value >= 0.0f) << int{o.id};
            ASSERT_TRUE(o.id != OUT_IAQ_INDEX || o.value <= 500.0f);
            ASSERT_TRUE(o.id != OUT_COMPENSATED_HUMIDITY || (o.value >= 0.0f && o.value <= 100.0f));
            ASSERT_TRUE(o.id != OUT_COMPENSATED_TEMPERATURE ||
                        std::fabs(o.value - Environment::temperature(s)) < 5.0f);
            ASSERT_TRUE(o.id != OUT_PASSTHROUGH_GAS || o.value == Environment::gas(s));
        }
    }
}

float valueOf(const Record& r, uint8_t id, uint8_t* accuracy = nullptr) {
    for (const OutputSample& o : r.outputs) {
        if (o.id != id) continue;
        if (accuracy != nullptr) *accuracy = o.accuracy;
        return o.value;
    }
    return std::nanf("");
}

TEST_F(EndToEnd, StatusFlagsRiseWhenTheirClocksSay) {
    // Accumulated time needs nothing by default; continuous time needs 300 s of
    // gas samples 3 s apart, reached on the 101st increment after the first sample.
    for (size_t k = 0; k < day.size(); ++k) {
        ASSERT_EQ(valueOf(day[k], OUT_ACCUMULATED_TIME_FLAG), 1.0f) << k;
        ASSERT_EQ(valueOf(day[k], OUT_CONTINUOUS_TIME_FLAG), k >= 101 ? 1.0f : 0.0f) << k;
    }
}

TEST_F(EndToEnd, IaqCalibratesAndSeesTheVocEvents) {
    size_t firstAccurate = day.size();
    float cleanMax = 0.0f;
    float eventMax = 0.0f;
    for (size_t k = 0; k < day.size(); ++k) {
        uint8_t accuracy = 0;
        const float iaq = valueOf(day[k], OUT_IAQ_INDEX, &accuracy);
        if (accuracy == 3 && firstAccurate == day.size()) firstAccurate = k;
        const double hour = static_cast<double>(k) * 3.0 / 3600.0;
        if (hour > 12.0 && hour < 12.9) cleanMax = std::max(cleanMax, iaq);
        if (hour > 13.0 && hour < 14.0) eventMax = std::max(eventMax, iaq);
    }
    ASSERT_LT(firstAccurate, day.size()) << "IAQ accuracy never reached 3";
    std::printf("IAQ accuracy 3 after %.2f h; IAQ before/at the 13:00 event %.1f / %.1f\n",
                static_cast<double>(firstAccurate) * 3.0 / 3600.0, static_cast<double>(cleanMax),
                static_cast<double>(eventMax));
    EXPECT_GT(eventMax, cleanMax + 50.0f);
}

// After a restart the scheduler starts over (phase 0, no clocks), while the modules
// continue from the saved state. Continuing at the time the last plan named, with
// every input at 1/3 Hz, the restarted scheduler asks for the same readings at the
// same times, and the status tracker's saved last time stamp lies exactly one
// interval back, so the series counts as unbroken. Identical therefore means: the
// same plan and, for every call, bit-identical output records.
TEST_F(EndToEnd, SaveRestartRestoreContinuesIdentically) {
    constexpr int kSaveAfter = kStepsPerDay / 2 + 17;
    constexpr int kCompared = 2000;
    start();
    int64_t at = kStartNs;
    run(0, kSaveAfter, at);

    uint8_t blob[221];
    uint8_t work[221];
    uint32_t size = 0;
    ASSERT_EQ(vorn_get_state(0, blob, sizeof blob, work, sizeof work, &size), RC_OK);
    ASSERT_EQ(vorn_init(), RC_OK);
    ASSERT_EQ(vorn_set_state(blob, size, work, sizeof work), RC_OK);
    ASSERT_EQ(subscribe(kSubscription).status, RC_OK);

    const std::vector<Record> resumed = run(kSaveAfter, kSaveAfter + kCompared, at);
    for (int i = 0; i < kCompared; ++i) {
        const Record& expected = day[static_cast<size_t>(kSaveAfter + i)];
        const Record& got = resumed[static_cast<size_t>(i)];
        ASSERT_EQ(got.inputMask, expected.inputMask) << "call " << i;
        ASSERT_EQ(got.status, expected.status) << "call " << i;
        ASSERT_EQ(got.outputs.size(), expected.outputs.size()) << "call " << i;
        for (size_t j = 0; j < got.outputs.size(); ++j) {
            ASSERT_TRUE(sameBits(got.outputs[j], expected.outputs[j]))
                << "call " << i << " output " << int{got.outputs[j].id} << ": "
                << got.outputs[j].value << " vs " << expected.outputs[j].value;
        }
    }
}

}  // namespace
