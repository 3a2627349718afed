// The scheduler through vorn_sensor_control: the measurement plan, call-time
// deviations, mixed rates, and the on-demand trigger from its window to the
// modified heater on-times that follow it.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "core/vorn.h"
#include "library_client.h"

namespace {

using namespace vorn_test;

constexpr int64_t kT0 = 1000 * kSecond;
constexpr uint32_t kClimateAndGas = 0x0Eu;  // humidity, temperature, gas
constexpr uint32_t kModFlagBit = 1u << 21;  // input 22

TEST(SensorControl, FirstPlanAndCallTimeDeviations) {
    struct Case {
        int64_t offset;
        int32_t status;
        bool plans;  // false: only next_call_ns, the pending planned time
    };
    for (const Case c : {Case{-kSecond / 5, RC_W_CALL_TIME_DEVIATION, false},
                         Case{kSecond / 5, RC_W_CALL_TIME_DEVIATION, true},
                         Case{-kSecond / 10, RC_OK, true}, Case{kSecond / 10, RC_OK, true}}) {
        vorn_init();
        subscribe({{OUT_IAQ_INDEX, kRate3s}});
        int32_t rc = -1;
        SensorSettings s = control(kT0, &rc);
        EXPECT_EQ(rc, RC_OK);
        EXPECT_EQ(s.input_mask, kClimateAndGas);
        EXPECT_EQ((std::array{s.gas_enable, s.temperature_os, s.humidity_os, s.pressure_os,
                              s.measure_now}),
                  (std::array<uint8_t, 5>{1, 2, 1, 0, 1}));
        EXPECT_EQ(s.heater_temperature_c, 320);
        EXPECT_EQ(s.heater_duration_ms, 197);
        ASSERT_EQ(s.next_call_ns, kT0 + 3 * kSecond);

        s = control(kT0 + 3 * kSecond + c.offset, &rc);
        EXPECT_EQ(rc, c.status) << c.offset;
        EXPECT_EQ(s.input_mask, c.plans ? kClimateAndGas : 0u) << c.offset;
        EXPECT_EQ(s.next_call_ns, c.plans ? kT0 + 6 * kSecond + c.offset : kT0 + 3 * kSecond);
    }
}

TEST(SensorControl, SlowerInputJoinsEveryTwentiethCall) {
    vorn_init();
    subscribe({{OUT_IAQ_INDEX, kRate3s}, {OUT_PASSTHROUGH_PRESSURE, 1.0f / 60}});
    int64_t t = kT0;
    for (int call = 0; call <= 40; ++call) {
        const SensorSettings s = control(t);
        EXPECT_EQ(s.input_mask, kClimateAndGas | (call % 20 == 0 ? 1u : 0u)) << call;
        EXPECT_EQ(s.pressure_os, call % 20 == 0 ? 5 : 0) << call;
        t = s.next_call_ns;
    }
}

TEST(SensorControl, GasIntervalWithoutProfileAndWrappingTimeStamps) {
    vorn_init();
    subscribe({{OUT_IAQ_INDEX, 1.0f / 18}});
    SensorSettings s = control(kT0);
    EXPECT_EQ(s.heater_temperature_c + s.heater_duration_ms, 0);

    vorn_init();
    subscribe({{OUT_IAQ_INDEX, kRate3s}});
    s = control(INT64_MAX);
    ASSERT_EQ(s.next_call_ns, INT64_MIN + 3 * kSecond - 1);
    int32_t rc = -1;
    control(s.next_call_ns, &rc);
    EXPECT_EQ(rc, RC_OK);  // on time across the wrap
    EXPECT_EQ(vorn_sensor_control(0, nullptr), RC_W_CALL_TIME_DEVIATION);
}

TEST(SensorControl, ModifiedOnTimePolynomial) {
    const std::pair<float, uint16_t> cases[] = {{0, 446},    {60, 1131},  {120, 1450},
                                                {240, 1800}, {300, 1852}, {450, 0},
                                                {-30, 0},    {-1e30f, 0}, {std::nanf(""), 0}};
    for (const auto& [seconds, ms] : cases) {
        EXPECT_EQ(vorn::Vorn::getModHeatingDuration(seconds), ms) << seconds;
    }
}

// Output 1 at 1/300 Hz and a 1/3 Hz temperature output, so that the scheduler is
// called every 3 s between the gas samples.
void startTriggerScenario() {
    vorn_init();
    ASSERT_EQ(
        subscribe({{OUT_IAQ_INDEX, kRate300s}, {OUT_PASSTHROUGH_TEMPERATURE, kRate3s}}).status,
        RC_OK);
}
SensorSettings callsUpTo(int first, int last) {
    SensorSettings s{};
    for (int k = first; k <= last; ++k) s = control(kT0 + 3 * k * kSecond);
    return s;
}
int32_t requestTrigger() {
    return subscribe({{OUT_IAQ_INDEX, 0.0f}}).status;
}

TEST(Trigger, Answers) {
    vorn_init();
    EXPECT_EQ(requestTrigger(), RC_W_TRIGGER_UNAVAILABLE);
    subscribe({{OUT_IAQ_FIXED_SCALE, kRate300s}});
    const Subscription s = subscribe({{OUT_IAQ_FIXED_SCALE, 0.0f}, {OUT_IAQ_INDEX, kRate3s}});
    EXPECT_EQ(s.status, RC_W_TRIGGER_TOO_SOON);  // reset value before the first plan
    EXPECT_EQ(s.nRequired, 0);
    // The window concerns the next call: 57, 60, 237 and 240 s after the gas sample.
    for (const auto& [call, answer] : {std::pair{18, RC_W_TRIGGER_TIMING}, std::pair{19, RC_OK},
                                       std::pair{78, RC_OK}, std::pair{79, RC_W_TRIGGER_TIMING}}) {
        startTriggerScenario();
        callsUpTo(0, call);
        EXPECT_EQ(requestTrigger(), answer) << call;
    }
}

TEST(Trigger, ModifiedOnTimesUntilTheNextRegularSample) {
    startTriggerScenario();
    EXPECT_EQ(callsUpTo(0, 19).heater_duration_ms, 0);  // no gas at call 19
    ASSERT_EQ(requestTrigger(), RC_OK);
    SensorSettings s = callsUpTo(20, 20);  // every input with an interval, 60 s on
    EXPECT_EQ(s.input_mask, kClimateAndGas | kModFlagBit);
    EXPECT_EQ(s.heater_duration_ms, 1131);
    EXPECT_EQ(s.heater_temperature_c, 400);
    EXPECT_EQ(requestTrigger(), RC_W_TRIGGER_TOO_SOON);
    EXPECT_EQ(callsUpTo(21, 21).input_mask, 0x4u);  // back to the rhythm
    s = callsUpTo(22, 100);                         // next regular slot, still modified
    EXPECT_EQ(s.input_mask, kClimateAndGas);
    EXPECT_EQ(s.heater_duration_ms, 1800);
    EXPECT_EQ(callsUpTo(101, 200).heater_duration_ms, 1943);
}

}  // namespace
