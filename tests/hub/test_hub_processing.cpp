// Processing step: which channels run for which new inputs, the values and time
// stamps handed between modules, repeated samples, inhibit and pass-through outputs.
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "hub_harness.h"

namespace vorn::test {
namespace {

constexpr uint16_t kGas = 300;   // gas-derived outputs
constexpr uint16_t kFast = 100;  // temperature-derived and most pass-through outputs

void subscribeEverything(ChannelHub& hub) {
    subscribe(hub, {{1, kGas},
                    {2, kGas},
                    {3, kGas},
                    {4, kGas},
                    {6, kFast},
                    {7, kFast},
                    {8, kFast},
                    {9, kGas},
                    {12, kGas},
                    {13, kGas},
                    {14, kFast},
                    {15, kFast},
                    {18, kGas},
                    {21, kGas}});
}

struct RoutingCase {
    const char* name;
    bool iaqOnly;
    uint32_t inputs, channels, outputs;  // new inputs, expected channels and outputs
};
constexpr uint32_t kGasOutputs = bits({1, 2, 3, 4, 21, 12, 13, 18});

class HubRouting : public testing::TestWithParam<RoutingCase> {};
TEST_P(HubRouting, RunsExactlyTheChannelsWhoseInputsAndUpstreamAreNew) {
    const RoutingCase& c = GetParam();
    ChannelHub hub;
    if (c.iaqOnly) {
        subscribe(hub, {{OUT_IAQ_INDEX, kGas}});
    } else {
        subscribeEverything(hub);
    }
    for (const Sample s :
         {Sample{IN_PRESSURE, 11, 1e5f}, Sample{IN_HUMIDITY, 12, 40.0f},
          Sample{IN_TEMPERATURE, 13, 25.0f}, Sample{IN_GAS_RESISTANCE, 14, 5e4f}}) {
        if (c.inputs & bits({s.input})) hub.setInput(s.input, s.timestamp, s.value);
    }
    hub.step();
    EXPECT_EQ(hub.channelRunMask, c.channels);
    EXPECT_EQ(hub.outputValidMask, c.outputs);
    EXPECT_EQ(hub.newInputMask, 0u);
    // Without a gas step the heat compensator is told "no gas sample", not a stale stamp.
    const bool gasStep = (c.channels & bits({5, 9})) == bits({5, 9});
    EXPECT_EQ(hub.heatCompensator.learnt.prevGasTimestamp, gasStep ? 14 : kNoTimestamp);
}
INSTANTIATE_TEST_SUITE_P(
    Steps, HubRouting,
    testing::Values(
        RoutingCase{"TemperatureHumidity", false, bits({2, 3}), bits({9, 10}),
                    bits({14, 15, 6, 8})},
        RoutingCase{"TemperatureGas", false, bits({3, 4}), bits({5, 9}), bits({12, 13, 14, 6, 9})},
        RoutingCase{"HumidityGas", false, bits({2, 4}), bits({5}), bits({12, 13, 8, 9})},
        RoutingCase{"AllFour", false, bits({1, 2, 3, 4}), bits({5, 3, 1, 2, 9, 10}),
                    kGasOutputs | bits({14, 15, 6, 7, 8, 9})},
        RoutingCase{"IaqOnly", true, bits({1, 2, 3, 4}), bits({5, 3, 1, 2}), kGasOutputs}),
    [](const auto& p) { return std::string(p.param.name); });

// Twin modules fed with what the hub is meant to hand on must reproduce every output,
// bit for bit, with the time stamp of the sample it derives from.
TEST(HubExchange, ModulesReceiveUpstreamResults) {
    ChannelHub hub;
    subscribeEverything(hub);
    SensorStatusTracker status;
    GasHumidityPreProcessor pre;
    GasHumidityBaselineTracker baseline;
    IaqEstimator iaq;
    SensorHeatCompensator heat;
    HumidityTemperatureCorrector humidity;
    status.setInterval(kGas);
    pre.setInterval(kGas);
    baseline.setInterval(kGas);
    iaq.setInterval(kGas);
    humidity.setInterval(kFast);
    // Learning starts on the third step, and a held index below every index makes
    // the progress weight visible in output 2.
    hub.statusTracker.derived.continuousTimeRequired = status.derived.continuousTimeRequired = 6e9f;
    hub.iaqEstimator.learnt.heldFixedScaleIndex = iaq.learnt.heldFixedScaleIndex = -1000.0f;

    for (int n = 0; n < 8; ++n) {
        const auto f = static_cast<float>(n);
        const int64_t tT = int64_t{3'000'000'000} * (n + 1), tH = tT + 1000, tG = tT + 2000;
        const float t = 21.0f + 0.5f * f, h = 35.0f + 2.0f * f, g = 6e4f - 3e3f * f;
        const float offset = 0.75f, event = n == 3 ? 1.0f : 0.0f, heating = n == 2 ? 1.0f : 0.0f;
        const bool withGas = n != 5;  // one temperature-only step
        if (withGas) hub.setInput(IN_GAS_RESISTANCE, tG, g);
        step(hub, {{IN_TEMPERATURE, tT, t},
                   {IN_HUMIDITY, tH, h},
                   {IN_TEMPERATURE_OFFSET, tT, offset},
                   {IN_BASELINE_INDEX, tT, event},
                   {IN_MOD_HEATING_FLAG, tT, heating}});

        const auto expectOutput = [&](uint8_t id, float value, int64_t stamp, uint8_t acc = 0) {
            SCOPED_TRACE(testing::Message() << "step " << n << " output " << int{id});
            float v = 0;
            int64_t ts = 0;
            uint8_t a = 9;
            ASSERT_TRUE(hub.isOutputValid(id));
            hub.getOutput(id, v, ts, a);
            EXPECT_EQ(v, value);
            EXPECT_EQ(ts, stamp);
            EXPECT_EQ(a, acc);
        };
        if (withGas) {
            uint8_t accumulated = 0, continuous = 0;
            float progress = 0, logGas = 0, temperature = 0, hum = 0, compensated = 0;
            BaselineBounds bounds{};
            IaqResults r{};
            status.step(tG, accumulated, continuous, progress);
            pre.step(logGas, temperature, hum, g, t, h);
            baseline.step(accumulated, continuous, heating != 0.0f, bounds, compensated, logGas,
                          temperature, hum, event);
            iaq.step(bounds, r, compensated, progress);
            expectOutput(OUT_ACCUMULATED_TIME_FLAG, accumulated, tG);
            expectOutput(OUT_CONTINUOUS_TIME_FLAG, continuous, tG);
            expectOutput(OUT_COMPENSATED_LOG_GAS, compensated, tG);
            const uint8_t ids[] = {1, 2, 3, 4, 21};
            for (int i = 0; i < 5; ++i) {
                expectOutput(ids[i], r[i].value, tG, accuracyToByte(r[i].accuracy));
            }
            expectOutput(OUT_PASSTHROUGH_GAS, g, tG);
        }
        const float tc =
            heat.step(withGas ? tG : kNoTimestamp, tT, baseline.derived.samplIntvl, t, offset);
        expectOutput(OUT_COMPENSATED_TEMPERATURE, tc, tT);
        expectOutput(OUT_COMPENSATED_HUMIDITY, humidity.step(t, tc, h), tT);
        expectOutput(OUT_PASSTHROUGH_TEMPERATURE, t, tT);
        expectOutput(OUT_PASSTHROUGH_HUMIDITY, h, tH);
        EXPECT_EQ(hub.outputValidMask, 0u) << "step " << n << ": an output not expected";
    }
}

TEST(HubInputs, InhibitStopsModulesButNotPassThroughOrCounters) {
    ChannelHub hub;  // channel 9 runs on every third temperature sample
    subscribe(hub, {{OUT_PASSTHROUGH_TEMPERATURE, 100}, {OUT_COMPENSATED_TEMPERATURE, 300}});
    hub.setInput(IN_PROCESSING_INHIBIT, 1, 2.0f);
    for (int64_t t = 1; t <= 6; ++t) {
        if (t == 4) hub.setInput(IN_PROCESSING_INHIBIT, 4, 0.0f);
        step(hub, {{IN_TEMPERATURE, t, 25.0f}});
        const bool due = t % 3 == 0, inhibited = t < 4;
        EXPECT_EQ(hub.channelRunMask, due ? bits({9}) : 0u) << t;
        EXPECT_EQ(hub.outputValidMask, bits({6}) | (due && !inhibited ? bits({14}) : 0u)) << t;
    }
    subscribeEverything(hub);  // inhibited channels still count as scheduled downstream
    step(hub, {{IN_PROCESSING_INHIBIT, 5, 1.0f},
               {IN_HUMIDITY, 5, 40.0f},
               {IN_TEMPERATURE, 7, 25.0f},
               {IN_GAS_RESISTANCE, 5, 5e4f}});
    EXPECT_EQ(hub.channelRunMask, bits({5, 3, 1, 2, 9, 10}));
    EXPECT_EQ(hub.outputValidMask, bits({6, 8, 9}));
    EXPECT_EQ(hub.statusTracker.learnt.lastTimestamp, 0);
}

TEST(HubOutputs, AccuracyRoundsHalfAwayFromZeroAndClamps) {
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    const std::pair<float, int> cases[] = {{0.49999997f, 0}, {0.5f, 1},  {2.4999998f, 2},
                                           {2.5f, 3},        {-2.5f, 0}, {254.5f, 255},
                                           {1e30f, 255},     {kNaN, 0}};
    for (const auto& [accuracy, published] : cases) {
        EXPECT_EQ(accuracyToByte(accuracy), published) << accuracy;
    }
}

}  // namespace
}  // namespace vorn::test
