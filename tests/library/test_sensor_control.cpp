// The scheduler through vorn_sensor_control: what is measured when, with which
// heater and oversampling settings, how call-time deviations are answered, and the
// on-demand trigger from request to the modified heater on-times that follow it.
#include <gtest/gtest.h>

#include <climits>

#include "core/vorn.h"
#include "library_client.h"

namespace {

using namespace vorn_test;

constexpr int64_t kT0 = 1000 * kSecond;
constexpr uint32_t kClimateAndGas = 0x0000000Eu;  // humidity, temperature, gas
constexpr uint32_t kModFlagBit = 0x00200000u;     // input 22

class SensorControl : public ::testing::Test {
protected:
    void SetUp() override { vorn_init(); }
};

TEST_F(SensorControl, FirstPlanForIaqAtOneThirdHertz) {
    ASSERT_EQ(subscribe({{OUT_IAQ_INDEX, kRate3s}}).status, RC_OK);
    int32_t rc = -1;
    const SensorSettings s = control(kT0, &rc);
    EXPECT_EQ(rc, RC_OK);
    EXPECT_EQ(s.input_mask, kClimateAndGas);
    EXPECT_EQ(s.gas_enable, 1);
    EXPECT_EQ(s.heater_temperature_c, 320);
    EXPECT_EQ(s.heater_duration_ms, 197);
    EXPECT_EQ(s.temperature_os, 2);
    EXPECT_EQ(s.humidity_os, 1);
    EXPECT_EQ(s.pressure_os, 0);
    EXPECT_EQ(s.measure_now, 1);
    EXPECT_EQ(s.next_call_ns, kT0 + 3 * kSecond);
}

struct Deviation {
    int64_t offsetNs;
    int32_t status;
    bool plans;  // false: only next_call_ns (the pending planned time) is filled
};

class CallTimeDeviation : public SensorControl, public ::testing::WithParamInterface<Deviation> {};

TEST_P(CallTimeDeviation, AnsweredByStatusAndPlan) {
    const Deviation d = GetParam();
    subscribe({{OUT_IAQ_INDEX, kRate3s}});
    const int64_t planned = control(kT0).next_call_ns;
    int32_t rc = -1;
    const SensorSettings s = control(planned + d.offsetNs, &rc);
    EXPECT_EQ(rc, d.status);
    if (d.plans) {
        EXPECT_EQ(s.input_mask, kClimateAndGas);
        EXPECT_EQ(s.next_call_ns, planned + d.offsetNs + 3 * kSecond);
    } else {
        EXPECT_EQ(s.next_call_ns, planned);
        EXPECT_EQ(s.input_mask, 0u);
        EXPECT_EQ(s.measure_now, 0);
        EXPECT_EQ(s.heater_duration_ms, 0);
        // Nothing moved: the planned time is still served normally.
        EXPECT_EQ(control(planned, &rc).next_call_ns, planned + 3 * kSecond);
        EXPECT_EQ(rc, RC_OK);
    }
}

INSTANTIATE_TEST_SUITE_P(ThreeSecondInterval, CallTimeDeviation,
                         ::testing::Values(Deviation{-kSecond / 5, RC_W_CALL_TIME_DEVIATION, false},
                                           Deviation{kSecond / 5, RC_W_CALL_TIME_DEVIATION, true},
                                           Deviation{-kSecond / 10, RC_OK, true},
                                           Deviation{kSecond / 10, RC_OK, true}));

TEST_F(SensorControl, SlowerInputJoinsEveryTwentiethCall) {
    ASSERT_EQ(subscribe({{OUT_IAQ_INDEX, kRate3s}, {OUT_PASSTHROUGH_PRESSURE, 1.0f / 60}}).status,
              RC_OK);
    int64_t t = kT0;
    for (int call = 0; call <= 40; ++call) {
        const SensorSettings s = control(t);
        const bool pressureDue = call % 20 == 0;
        EXPECT_EQ((s.input_mask & 1u) != 0, pressureDue) << "call " << call;
        EXPECT_EQ(s.pressure_os, pressureDue ? 5 : 0) << "call " << call;
        EXPECT_EQ(s.input_mask & kClimateAndGas, kClimateAndGas);
        t = s.next_call_ns;
    }
}

TEST_F(SensorControl, GasIntervalWithoutHeaterProfileReportsZeroHeater) {
    ASSERT_EQ(subscribe({{OUT_IAQ_INDEX, 1.0f / 18}}).status, RC_OK);
    const SensorSettings s = control(kT0);
    EXPECT_EQ(s.gas_enable, 1);
    EXPECT_EQ(s.heater_temperature_c, 0);
    EXPECT_EQ(s.heater_duration_ms, 0);
    EXPECT_EQ(s.next_call_ns, kT0 + 18 * kSecond);
}

TEST_F(SensorControl, TimeStampsAtTheEndsOfTheRangeWrapInsteadOfOverflowing) {
    subscribe({{OUT_IAQ_INDEX, kRate3s}});
    const SensorSettings first = control(INT64_MAX);
    EXPECT_EQ(first.next_call_ns, INT64_MIN + 3 * kSecond - 1);
    int32_t rc = -1;
    const SensorSettings second = control(first.next_call_ns, &rc);
    EXPECT_EQ(rc, RC_OK);  // exactly on time across the wrap
    EXPECT_EQ(second.input_mask, kClimateAndGas);
    control(INT64_MIN, &rc);  // far off: a deviation, but no overflow
    EXPECT_EQ(rc, RC_W_CALL_TIME_DEVIATION);
}

TEST(ModifiedHeaterOnTime, FollowsThePolynomialAndStaysInRange) {
    struct Case {
        float seconds;
        uint16_t ms;
    };
    for (const Case c : {Case{0, 446}, Case{60, 1131}, Case{120, 1450}, Case{240, 1800},
                         Case{300, 1852}, Case{450, 0}, Case{1e6f, 0}, Case{-30, 0},
                         Case{-1e30f, 0}, Case{__builtin_nanf(""), 0}}) {
        EXPECT_EQ(vorn::Vorn::getModHeatingDuration(c.seconds), c.ms) << c.seconds << " s";
    }
}

// Output 1 at 1/300 Hz with a 1/3 Hz temperature output, so that the scheduler is
// called every 3 s between the gas samples.
class Trigger : public SensorControl {
protected:
    void SetUp() override {
        SensorControl::SetUp();
        ASSERT_EQ(
            subscribe({{OUT_IAQ_INDEX, kRate300s}, {OUT_PASSTHROUGH_TEMPERATURE, kRate3s}}).status,
            RC_OK);
    }
    // Calls at kT0 + 3 s * k for k = first .. last, returns the last plan.
    SensorSettings runCalls(int first, int last) {
        SensorSettings s{};
        for (int k = first; k <= last; ++k) s = control(kT0 + 3 * k * kSecond);
        return s;
    }
};

TEST_F(SensorControl, TriggerAnswersBeforeTheFirstPlan) {
    EXPECT_EQ(requestTrigger(), RC_W_TRIGGER_UNAVAILABLE);  // no output at 1/300 Hz
    subscribe({{OUT_IAQ_FIXED_SCALE, kRate300s}});
    EXPECT_EQ(requestTrigger(), RC_W_TRIGGER_TOO_SOON);  // reset value until a plan is made
    Subscription s = subscribe({{OUT_IAQ_FIXED_SCALE, 0.0f}, {OUT_IAQ_INDEX, kRate3s}});
    EXPECT_EQ(s.status, RC_W_TRIGGER_TOO_SOON);  // trigger form: other records ignored
    EXPECT_EQ(s.nRequired, 0);
}

TEST_F(Trigger, WindowOpensSixtySecondsAfterTheRegularSampleAndClosesAt240) {
    struct Window {
        int call;  // the request follows this call
        int32_t answer;
    };
    // The answer concerns the next call: 57 s, 60 s, 237 s and 240 s after the gas sample.
    for (const Window w : {Window{18, RC_W_TRIGGER_TIMING}, Window{19, RC_OK}, Window{78, RC_OK},
                           Window{79, RC_W_TRIGGER_TIMING}}) {
        vorn_init();
        subscribe({{OUT_IAQ_INDEX, kRate300s}, {OUT_PASSTHROUGH_TEMPERATURE, kRate3s}});
        runCalls(0, w.call);
        EXPECT_EQ(requestTrigger(), w.answer) << "after call " << w.call;
    }
}

TEST_F(Trigger, ModifiedOnTimesUntilTheNextRegularSample) {
    SensorSettings s = runCalls(0, 0);
    EXPECT_EQ(s.heater_duration_ms, 1943);  // the regular 1/300 Hz profile
    EXPECT_EQ(s.heater_temperature_c, 400);
    runCalls(1, 19);
    ASSERT_EQ(requestTrigger(), RC_OK);

    s = runCalls(20, 20);  // 60 s after the regular sample: every input with an interval
    EXPECT_EQ(s.input_mask, kClimateAndGas | kModFlagBit);
    EXPECT_EQ(s.heater_duration_ms, 1131);
    EXPECT_EQ(s.heater_temperature_c, 400);
    EXPECT_EQ(requestTrigger(), RC_W_TRIGGER_TOO_SOON);  // 3 s after the on-demand sample

    s = runCalls(21, 21);
    EXPECT_EQ(s.input_mask, 0x4u);  // back to the regular rhythm: temperature only

    s = runCalls(22, 100);  // the next regular slot still follows the on-demand sample
    EXPECT_EQ(s.input_mask, kClimateAndGas);
    EXPECT_EQ(s.heater_duration_ms, 1800);  // 240 s after the on-demand sample

    s = runCalls(101, 200);
    EXPECT_EQ(s.heater_duration_ms, 1943);
}

}  // namespace
