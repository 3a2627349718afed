// The scheduler through vorn_sensor_control: the measurement plan, call-time
// deviations, the on-demand trigger's answers and the modified heater on-times.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>

#include "engine/engine.h"
#include "library_client.h"

namespace {

using namespace vorn_test;

constexpr int64_t kT0 = 1000 * kSecond;
constexpr uint32_t kClimateAndGas = 0x0Eu;  // humidity, temperature, gas

TEST(SensorControl, FirstPlanAndCallTimeDeviations) {
    // An early call gets only the pending planned time; a late one is planned from now.
    for (const int64_t offset : {-kSecond / 5, kSecond / 5, -kSecond / 10, kSecond / 10}) {
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

        const bool deviates = std::llabs(offset) > kSecond / 8, early = deviates && offset < 0;
        s = control(kT0 + 3 * kSecond + offset, &rc);
        EXPECT_EQ(rc, deviates ? RC_W_CALL_TIME_DEVIATION : RC_OK) << offset;
        EXPECT_EQ(s.input_mask, early ? 0u : kClimateAndGas) << offset;
        EXPECT_EQ(s.next_call_ns, early ? kT0 + 3 * kSecond : kT0 + 6 * kSecond + offset);
    }
    // A slower subscription keeps to the schedule's phase: after five calls 3 s apart, 15 s
    // into the 300 s cycle, the next call comes 285 s later, not 300.
    vorn_init();
    subscribe({{OUT_IAQ_INDEX, kRate3s}});
    for (int64_t k = 0; k < 5; ++k) control(kT0 + 3 * k * kSecond);
    subscribe({{OUT_IAQ_INDEX, kRate300s}});
    EXPECT_EQ(control(kT0 + 15 * kSecond).next_call_ns, kT0 + 300 * kSecond);
}

TEST(SensorControl, ModifiedOnTimePolynomial) {
    const std::pair<float, uint16_t> cases[] = {{0, 446},    {60, 1131},        {120, 1450},
                                                {240, 1800}, {300, 1852},       {450, 0},
                                                {-30, 0},    {std::nanf(""), 0}};
    for (const auto& [seconds, ms] : cases) {
        EXPECT_EQ(vorn::Engine::getModHeatingDuration(seconds), ms) << seconds;
    }
}

// Output 1 at 1/300 Hz and a 1/3 Hz temperature output: calls every 3 s between
// the gas samples.
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

}  // namespace
