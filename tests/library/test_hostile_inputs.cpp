// Hostile time stamps and readings through the exported operations: clocks at the
// ends of the 64-bit range, running backwards or jumping by years, and non-finite
// readings. Run under UBSan these also prove the time arithmetic never overflows.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "library_client.h"

namespace {

using namespace vorn_test;

constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
constexpr int64_t kHour = 3600 * kSecond;
constexpr int64_t kYear = 365 * 24 * kHour;
constexpr int64_t kStart = 1'700'000'000 * kSecond;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

// t + d with two's-complement wrap-around, as a clock counter would.
int64_t wrapAdd(int64_t t, int64_t d) {
    return static_cast<int64_t>(static_cast<uint64_t>(t) + static_cast<uint64_t>(d));
}

std::vector<uint8_t> exportState() {
    std::vector<uint8_t> blob(512, 0), work(512, 0);
    uint32_t size = 0;
    EXPECT_EQ(vorn_get_state(0, blob.data(), 512, work.data(), 512, &size), RC_OK);
    blob.resize(size);
    return blob;
}

const OutputSample* findOutput(const Step& s, uint8_t id) {
    for (const OutputSample& o : s.outputs) {
        if (o.id == id) return &o;
    }
    return nullptr;
}

void expectFinite(const Step& s) {
    for (const OutputSample& o : s.outputs) {
        EXPECT_TRUE(std::isfinite(o.value)) << "output " << int(o.id) << " = " << o.value;
    }
}

class HostileInputs : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(vorn_init(), RC_OK);
        ASSERT_EQ(subscribe({{OUT_IAQ_INDEX, kRate3s},
                             {OUT_GAS_SCALE_PERCENT, kRate3s},
                             {OUT_CONTINUOUS_TIME_FLAG, kRate3s},
                             {OUT_ACCUMULATED_TIME_FLAG, kRate3s},
                             {OUT_COMPENSATED_TEMPERATURE, kRate3s},
                             {OUT_COMPENSATED_HUMIDITY, kRate3s},
                             {OUT_PASSTHROUGH_PRESSURE, kRate3s}})
                      .status,
                  RC_OK);
    }

    // One cooperative cycle at time t: plan, then measure what was asked for.
    Step cycle(int64_t t, int32_t* controlStatus = nullptr, float gas = 60000.0f) {
        const SensorSettings s = control(t, controlStatus);
        planned_ = s.next_call_ns;
        std::vector<InputSample> in;
        const float values[] = {100000.0f, 45.0f, 22.0f, gas};
        for (uint8_t id = IN_PRESSURE; id <= IN_GAS_RESISTANCE; ++id) {
            if ((s.input_mask >> (id - 1) & 1u) != 0) in.push_back(sample(id, t, values[id - 1]));
        }
        return step(in);
    }

    // Regular operation from `from` until the continuous-time flag is set (300 s at 3 s).
    int64_t runIn(int64_t from = kStart, int cycles = 110) {
        int64_t t = from;
        for (int i = 0; i < cycles; ++i) {
            int32_t status = 0;
            const Step s = cycle(t, &status);
            EXPECT_EQ(status, RC_OK);
            EXPECT_GE(s.status, 0);
            t = planned_;
        }
        return t;
    }

    static float flag(const Step& s, uint8_t id) {
        const OutputSample* o = findOutput(s, id);
        return o == nullptr ? -1.0f : o->value;
    }

    int64_t planned_ = 0;
};

// Clock values a device can hand over: the ends of the range, wrap-around, zero and
// negative, and jumps of an hour back or of years forward. Every call must return a
// status of its own set and finite outputs.
struct TimeCase {
    const char* name;
    std::vector<int64_t> times;
};

std::string timeCaseName(const ::testing::TestParamInfo<TimeCase>& p) {
    return p.param.name;
}

class ExtremeTimes : public HostileInputs, public ::testing::WithParamInterface<TimeCase> {};

TEST_P(ExtremeTimes, StayDefinedAndFinite) {
    runIn();
    for (int64_t t : GetParam().times) {
        for (int repeat = 0; repeat < 3; ++repeat) {  // and the cycles that follow it
            int32_t status = 0;
            const Step s = cycle(t, &status);
            EXPECT_TRUE(status == RC_OK || status == RC_W_CALL_TIME_DEVIATION) << status;
            EXPECT_TRUE(s.status == RC_OK || s.status == RC_W_INPUT_REPEATED) << s.status;
            expectFinite(s);
            t = planned_;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Clock, ExtremeTimes,
                         ::testing::Values(TimeCase{"Int64Max", {kMax - 4 * kSecond, kMax}},
                                           TimeCase{"Int64Min", {kMin, kMin + 3 * kSecond}},
                                           TimeCase{"WrapMaxToMin", {kMax, kMin}},
                                           TimeCase{"MinToMax", {kMin, kMax}},
                                           TimeCase{"ZeroAndNegative", {0, -1, -3 * kSecond}},
                                           TimeCase{"HourBackwards", {kStart - kHour}},
                                           TimeCase{"YearForward", {kStart + kYear}},
                                           TimeCase{"CenturyForward", {kStart + 100 * kYear}},
                                           TimeCase{"CenturyBackwards", {kStart - 100 * kYear}}),
                         timeCaseName);

// Raw samples at the ends of the range, straight to the processing step, also
// alternating so that every difference the modules form spans the whole range.
TEST_F(HostileInputs, ExtremeSampleTimeStampsAreProcessed) {
    runIn();
    for (int64_t t : {kMax, kMin, kMax, int64_t{0}, kMin + 1, kMax - 1}) {
        const Step s = step({sample(IN_HUMIDITY, t, 45.0f), sample(IN_TEMPERATURE, t, 22.0f),
                             sample(IN_GAS_RESISTANCE, t, 60000.0f)});
        EXPECT_TRUE(s.status == RC_OK || s.status == RC_W_INPUT_REPEATED) << s.status;
        expectFinite(s);
    }
}

TEST_F(HostileInputs, ClockRunningBackwardsIsAnEarlyCallThatChangesNothing) {
    const int64_t t = runIn();
    const int64_t plannedBefore = planned_;
    int32_t status = 0;
    const SensorSettings s = control(t - kHour, &status);
    EXPECT_EQ(status, RC_W_CALL_TIME_DEVIATION);
    EXPECT_EQ(s.next_call_ns, plannedBefore);  // still the pending plan
    EXPECT_EQ(s.input_mask, 0u);
    EXPECT_EQ(s.measure_now, 0);

    // A sample that does arrive from the past breaks the continuity of the gas series.
    const Step late =
        step({sample(IN_HUMIDITY, t - kHour, 45.0f), sample(IN_TEMPERATURE, t - kHour, 22.0f),
              sample(IN_GAS_RESISTANCE, t - kHour, 60000.0f)});
    EXPECT_EQ(late.status, RC_OK);
    EXPECT_EQ(flag(late, OUT_CONTINUOUS_TIME_FLAG), 0.0f);
    EXPECT_EQ(flag(late, OUT_ACCUMULATED_TIME_FLAG), 1.0f);
    expectFinite(late);
}

TEST_F(HostileInputs, YearJumpIsALateCallThatPlansFromNow) {
    const int64_t t = runIn() + kYear;
    int32_t status = 0;
    const Step s = cycle(t, &status);
    EXPECT_EQ(status, RC_W_CALL_TIME_DEVIATION);
    EXPECT_EQ(planned_, t + 3 * kSecond);
    EXPECT_EQ(flag(s, OUT_CONTINUOUS_TIME_FLAG), 0.0f);  // the gap interrupted the series
    EXPECT_EQ(flag(s, OUT_ACCUMULATED_TIME_FLAG), 1.0f);
    // ... and the series builds up again from the new time.
    EXPECT_EQ(runIn(planned_, 110) - t, 111 * 3 * kSecond);
}

TEST_F(HostileInputs, PlanNearTheEndOfTheRangeWrapsLikeTheClock) {
    int32_t status = 0;
    const int64_t t = kMax - kSecond;
    cycle(t, &status);
    EXPECT_EQ(status, RC_OK);
    EXPECT_EQ(planned_, wrapAdd(t, 3 * kSecond));
    cycle(planned_, &status);
    EXPECT_EQ(status, RC_OK);  // the wrapped plan is exactly on time
}

// A non-finite or out-of-range reading refuses the whole step and leaves the learnt
// state untouched; this holds for every input, including the offset, whose range is
// the whole finite float range.
struct BadReading {
    uint8_t id;
    float value;
};

class NonFiniteReadings : public HostileInputs, public ::testing::WithParamInterface<BadReading> {};

TEST_P(NonFiniteReadings, AreRefusedAndChangeNothing) {
    const int64_t t = runIn();
    const std::vector<uint8_t> before = exportState();
    const BadReading bad = GetParam();
    std::vector<InputSample> in = {sample(IN_HUMIDITY, t, 45.0f), sample(IN_TEMPERATURE, t, 22.0f),
                                   sample(IN_GAS_RESISTANCE, t, 60000.0f)};
    bool replaced = false;
    for (InputSample& s : in) {
        if (s.id == bad.id) {
            s.value = bad.value;
            replaced = true;
        }
    }
    if (!replaced) in.push_back(sample(bad.id, t, bad.value));
    const Step s = step(in);
    EXPECT_EQ(s.status, RC_E_INPUT_RANGE);
    EXPECT_TRUE(s.outputs.empty());
    EXPECT_EQ(exportState(), before);
    // The same time stamps are still free: nothing was stored.
    in.erase(
        std::remove_if(in.begin(), in.end(), [&](const InputSample& x) { return x.id == bad.id; }),
        in.end());
    EXPECT_EQ(step(in).status, RC_OK);
}

std::vector<BadReading> badReadings() {
    std::vector<BadReading> cases;
    for (uint8_t id :
         {IN_PRESSURE, IN_HUMIDITY, IN_TEMPERATURE, IN_GAS_RESISTANCE, IN_TEMPERATURE_OFFSET,
          IN_MOD_HEATING_FLAG, IN_BASELINE_INDEX, IN_PROCESSING_INHIBIT}) {
        for (float v : {kNaN, kInf, -kInf}) cases.push_back({id, v});
    }
    return cases;
}

INSTANTIATE_TEST_SUITE_P(EveryInput, NonFiniteReadings, ::testing::ValuesIn(badReadings()));

// The largest offsets are valid input: the compensated temperature is then huge but
// finite, and the humidity carried to it stays within 0..100 %.
TEST_F(HostileInputs, LargestTemperatureOffsetsGiveFiniteOutputs) {
    int64_t t = runIn();
    for (float offset : {FLT_MAX, -FLT_MAX, std::numeric_limits<float>::denorm_min()}) {
        const Step s =
            step({sample(IN_TEMPERATURE_OFFSET, t, offset), sample(IN_HUMIDITY, t, 45.0f),
                  sample(IN_TEMPERATURE, t, 22.0f), sample(IN_GAS_RESISTANCE, t, 60000.0f)});
        EXPECT_EQ(s.status, RC_OK);
        expectFinite(s);
        const OutputSample* humidity = findOutput(s, OUT_COMPENSATED_HUMIDITY);
        ASSERT_NE(humidity, nullptr);
        EXPECT_GE(humidity->value, 0.0f);
        EXPECT_LE(humidity->value, 100.0f);
        t += 3 * kSecond;
    }
}

}  // namespace
