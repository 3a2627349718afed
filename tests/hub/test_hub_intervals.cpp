// Channel hub schedule: output intervals propagated to channels and inputs, the
// downsampling factors and how they space a channel's runs, and the hand-over of a
// channel's interval to its module.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "hub_harness.h"

namespace vorn::test {
namespace {

constexpr uint16_t kOff = kIntervalOff;
using Channels = std::array<uint16_t, kChannelCount>;  // channels 1, 2, 3, 5, 9, 10
using Inputs = std::array<uint16_t, kInputCount>;      // inputs 1, 2, 3, 4, 14, 22, 23, 24

struct PropagationCase {
    const char* name;
    std::vector<Request> requests;
    Channels channels;
    Inputs inputs;
    Channels factors;
};

class HubPropagation : public testing::TestWithParam<PropagationCase> {};

TEST_P(HubPropagation, ChannelsAndInputsFollowTheFastestOutputThatNeedsThem) {
    const PropagationCase& c = GetParam();
    ChannelHub hub;
    hub.resetSamplIntvls();
    for (const Request& r : c.requests) hub.updateOutputSamplIntvl(r.output, r.interval);
    hub.recalculateDownsampling();
    EXPECT_EQ(hub.channelSamplIntvl, c.channels);
    EXPECT_EQ(hub.inputSamplIntvl, c.inputs);
    EXPECT_EQ(hub.downsamplingFactor, c.factors);
    for (const Request& r : c.requests) {
        EXPECT_EQ(hub.outputSamplIntvl[outputIndex(r.output)], r.interval);
    }
}

constexpr Channels kOnes = {1, 1, 1, 1, 1, 1};
// clang-format off
INSTANTIATE_TEST_SUITE_P(Subscriptions, HubPropagation, testing::Values(
    PropagationCase{"IaqIndex", {{OUT_IAQ_INDEX, 300}},
        {300, 300, 300, 300, kOff, kOff}, {kOff, 300, 300, 300, kOff, 300, 300, 300}, kOnes},
    PropagationCase{"CompensatedTemperatureOverFastPassThrough",
        {{OUT_PASSTHROUGH_TEMPERATURE, 100}, {OUT_COMPENSATED_TEMPERATURE, 300}},
        {kOff, kOff, kOff, kOff, 300, kOff}, {kOff, kOff, 100, kOff, 300, kOff, kOff, 300},
        {1, 1, 1, 1, 3, 1}},
    // Channel 10 waits for its slowest source, the already downsampled channel 9.
    PropagationCase{"CompensatedHumidityOverFastHumidity",
        {{OUT_PASSTHROUGH_HUMIDITY, 100}, {OUT_COMPENSATED_HUMIDITY, 300}},
        {kOff, kOff, kOff, kOff, 300, 300}, {kOff, 100, 300, kOff, 300, kOff, kOff, 300}, kOnes},
    // Channels 1 and 2 wait for the slower of their upstream channels 3 and 5.
    PropagationCase{"StatusFlagsFasterThanIaq",
        {{OUT_IAQ_INDEX, 1800}, {OUT_ACCUMULATED_TIME_FLAG, 300}},
        {1800, 1800, 1800, 300, kOff, kOff}, {kOff, 1800, 1800, 300, kOff, 1800, 1800, 300}, kOnes},
    PropagationCase{"SharedChannelTakesTheShorterInterval",
        {{OUT_PASSTHROUGH_GAS, 65535}, {OUT_COMPENSATED_TEMPERATURE, 1800},
         {OUT_COMPENSATED_HUMIDITY, 6000}},
        {kOff, kOff, kOff, kOff, 1800, 6000}, {kOff, 6000, 1800, kOff, 1800, kOff, kOff, 1800},
        kOnes}),
    [](const auto& p) { return std::string(p.param.name); });
// clang-format on

// Channel 9 at the compensated temperature's interval, waiting only for the
// temperature input at the pass-through's interval.
TEST(HubSchedule, FactorIsTheIntervalRatioRoundedHalfUp) {
    const std::array<uint16_t, 3> cases[] = {{250, 100, 3}, {240, 100, 2},    {150, 100, 2},
                                             {149, 100, 1}, {5, 3, 2},        {4, 3, 1},
                                             {300, 300, 1}, {30000, 100, 300}};
    for (const auto& [channelInterval, source, factor] : cases) {
        ChannelHub hub;
        subscribe(hub, {{OUT_PASSTHROUGH_TEMPERATURE, source},
                        {OUT_COMPENSATED_TEMPERATURE, channelInterval}});
        EXPECT_EQ(hub.downsamplingFactor[channelIndex(channel::kHeatCompensator)], factor)
            << channelInterval << "/" << source;
    }
}

TEST(HubSchedule, FactorCountsOnlyEligibleStepsFromTheLastReset) {
    ChannelHub hub;
    subscribe(hub, {{OUT_COMPENSATED_TEMPERATURE, 300}, {OUT_PASSTHROUGH_TEMPERATURE, 100}});
    std::string runs;
    for (int64_t t = 1; t <= 14; ++t) {
        if (t % 4 == 0) {  // a step without a temperature sample is not eligible
            step(hub, {{IN_PRESSURE, t, 1.0e5f}});
        } else {
            step(hub, {{IN_TEMPERATURE, t, 20.0f}});
        }
        runs += hub.channelRunMask != 0 ? 'R' : '.';
    }
    EXPECT_EQ(runs, "..R...R...R...");  // the 3rd, 6th and 9th eligible step
    subscribe(hub, {{OUT_COMPENSATED_TEMPERATURE, 300}, {OUT_PASSTHROUGH_TEMPERATURE, 100}});
    step(hub, {{IN_TEMPERATURE, 20, 20.0f}});
    EXPECT_EQ(hub.channelRunMask, 0u);  // counter restarted

    // A factor of 0 never comes out of the propagation; stored anyway it acts as 1.
    hub.downsamplingFactor[channelIndex(channel::kHeatCompensator)] = 0;
    step(hub, {{IN_TEMPERATURE, 21, 20.0f}});
    EXPECT_EQ(hub.channelRunMask, bits({9}));
}

TEST(HubSchedule, ChannelIntervalReachesItsModuleOnly) {
    ChannelHub hub;
    hub.updateOutputSamplIntvl(OUT_IAQ_INDEX, 300);
    hub.updateOutputSamplIntvl(OUT_COMPENSATED_HUMIDITY, 100);
    std::array<unsigned char, sizeof(ChannelHub)> before{};
    std::memcpy(before.data(), static_cast<const void*>(&hub), sizeof hub);
    for (uint32_t id : {0u, 4u, 6u, 7u, 8u, 9u, 11u, 0x101u})
        hub.updateChannelInterfaceDependency(id);
    EXPECT_EQ(std::memcmp(before.data(), static_cast<const void*>(&hub), sizeof hub), 0);

    ChannelHub twin;  // its modules told directly
    twin.baselineTracker.updateInterfaceDependency(300);
    twin.iaqEstimator.updateInterfaceDependency(300);
    twin.preProcessor.updateInterfaceDependency(300);
    twin.statusTracker.updateInterfaceDependency(300);
    twin.humidityCorrector.updateInterfaceDependency(100);
    for (uint32_t id : {1u, 2u, 3u, 5u, 10u}) hub.updateChannelInterfaceDependency(id);
    EXPECT_EQ(hub.baselineTracker.rangeScale, twin.baselineTracker.rangeScale);
    EXPECT_EQ(hub.iaqEstimator.fixedSlope, twin.iaqEstimator.fixedSlope);
    EXPECT_EQ(hub.preProcessor.gasFilter.coeff, twin.preProcessor.gasFilter.coeff);
    EXPECT_EQ(hub.statusTracker.maxGap, twin.statusTracker.maxGap);
    EXPECT_EQ(hub.humidityCorrector.temperatureFilter.coeff,
              twin.humidityCorrector.temperatureFilter.coeff);
}

}  // namespace
}  // namespace vorn::test
