// vorn_do_steps: the whole input list is validated before anything is stored,
// warnings and their precedence, the caller's output array and its order.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "library_client.h"

namespace {

using namespace vorn_test;

constexpr int64_t kT = 5 * kSecond;

TEST(DoSteps, BadInputRejectsTheWholeCall) {
    const InputSample humidity = sample(IN_HUMIDITY, kT, 50.0f);
    const std::pair<InputSample, int32_t> cases[] = {
        {sample(5, kT, 1.0f), RC_E_INPUT_ID},
        {sample(25, kT, 1.0f), RC_E_INPUT_ID},
        {sample(IN_HUMIDITY, kT + 1, 40.0f), RC_E_INPUT_DUPLICATE},
        {sample(IN_TEMPERATURE, kT, 125.5f), RC_E_INPUT_RANGE},
        {sample(IN_GAS_RESISTANCE, kT, 169.0f), RC_E_INPUT_RANGE},
        {sample(IN_PRESSURE, kT, std::nanf("")), RC_E_INPUT_RANGE}};
    for (const auto& [bad, status] : cases) {
        vorn_init();
        subscribe({{OUT_PASSTHROUGH_HUMIDITY, 1.0f}});
        step({});  // applies the subscription
        // A repeated time stamp first only warns: the checks go on to the bad sample.
        const Step rejected = step({sample(IN_TEMPERATURE_OFFSET, 0, 0.0f), humidity, bad});
        EXPECT_EQ(rejected.status, status);
        EXPECT_TRUE(rejected.outputs.empty());
        EXPECT_EQ(step({humidity}).outputs.size(), 1u);  // the valid sample was not stored
    }
    const Step bounds = step({sample(IN_TEMPERATURE, kT, 125.0f), sample(IN_HUMIDITY, kT + 1, 0.0f),
                              sample(IN_GAS_RESISTANCE, kT, 13200000.0f)});
    EXPECT_EQ(bounds.status, RC_OK);
    EXPECT_EQ(step({sample(IN_TEMPERATURE, 2 * kT, -65.0f), sample(IN_PRESSURE, 2 * kT, 0.0f),
                    sample(IN_GAS_RESISTANCE, 2 * kT, 170.0f)})
                  .status,
              RC_OK);  // the lower ends are accepted too
    uint8_t n = 4;
    OutputSample out[4];
    EXPECT_EQ(vorn_do_steps(nullptr, 2, out, &n), RC_E_INPUT_ID);
}

TEST(DoSteps, OrderOverflowAndWarningPrecedence) {
    vorn_init();
    subscribe({{OUT_PASSTHROUGH_GAS, 1.0f},
               {OUT_PASSTHROUGH_TEMPERATURE, 1.0f},
               {OUT_PASSTHROUGH_PRESSURE, 1.0f}});
    const auto readings = [](int64_t t) {
        return std::vector{sample(IN_GAS_RESISTANCE, t, 1000.0f), sample(IN_PRESSURE, t, 9e4f),
                           sample(IN_TEMPERATURE, t, 21.5f)};
    };
    EXPECT_TRUE(step(readings(kT)).outputs.empty());  // applied only at the end of this step
    Step s = step(readings(2 * kT));
    ASSERT_EQ(s.outputs.size(), 3u);
    const std::pair<uint8_t, float> expected[] = {{OUT_PASSTHROUGH_TEMPERATURE, 21.5f},
                                                  {OUT_PASSTHROUGH_PRESSURE, 9e4f},
                                                  {OUT_PASSTHROUGH_GAS, 1000.0f}};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(s.outputs[i].id, expected[i].first);
        EXPECT_EQ(s.outputs[i].value, expected[i].second);
        EXPECT_EQ(s.outputs[i].timestamp_ns, 2 * kT);
        EXPECT_EQ(s.outputs[i].dims, 1);
    }
    s = step(readings(3 * kT), 1);  // room for one of three: the lowest identifier
    EXPECT_EQ(s.status, RC_W_OUTPUT_OVERFLOW);
    ASSERT_EQ(s.outputs.size(), 1u);
    EXPECT_EQ(s.outputs[0].id, OUT_PASSTHROUGH_TEMPERATURE);
    EXPECT_TRUE(step({}).outputs.empty());  // the dropped ones are not offered again

    vorn_init();  // every stored time stamp is 0 again: a sample at 0 repeats it
    subscribe({{OUT_PASSTHROUGH_PRESSURE, 1.0f}});
    s = step({sample(IN_TEMPERATURE, 0, 20.0f), sample(IN_PRESSURE, kT, 9.0f)});
    EXPECT_EQ(s.status, RC_W_INPUT_REPEATED);
    const InputSample repeated = sample(IN_PRESSURE, kT, 20.0f);
    s = step({repeated});  // the same time stamp again: the first value stays, nothing is new
    EXPECT_EQ(s.status, RC_W_INPUT_REPEATED);
    EXPECT_TRUE(s.outputs.empty());
    uint8_t n = 0;
    EXPECT_EQ(vorn_do_steps(&repeated, 1, nullptr, &n), RC_W_NO_OUTPUT_ROOM);  // later wins

    OutputSample out[255];  // records are cleared up to the capacity, the last byte kept
    std::memset(out, 0xAB, sizeof out);
    n = 255;
    EXPECT_EQ(vorn_do_steps(nullptr, 0, out, &n), RC_OK);
    EXPECT_EQ(n, 0);
    for (const OutputSample& o : out) {
        EXPECT_EQ(o.timestamp_ns | o.dims | o.id | o.accuracy, 0);
        EXPECT_EQ(o.reserved, 0xAB);
    }
}

}  // namespace
