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
