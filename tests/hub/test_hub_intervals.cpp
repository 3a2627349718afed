// Schedule: output intervals propagated to channels and inputs, the downsampling
// factors, and how they space a channel's runs.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "hub_harness.h"

namespace vorn::test {
namespace {

constexpr uint16_t kOff = kIntervalOff;
using Channels = std::array<uint16_t, kChannelCount>;  // channels 1, 2, 3, 5, 9, 10
using Inputs = std::array<uint16_t, kInputCount>;      // inputs 1, 2, 3, 4, 14, 22, 23, 24
constexpr Channels kOnes = {1, 1, 1, 1, 1, 1};

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
}

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
        {1800, 1800, 1800, 300, kOff, kOff}, {kOff, 1800, 1800, 300, kOff, 1800, 1800, 300}, kOnes}),
    [](const auto& p) { return std::string(p.param.name); });
// clang-format on

TEST(HubSchedule, FactorIsTheIntervalRatioRoundedHalfUp) {
    const std::array<uint16_t, 3> cases[] = {{250, 100, 3}, {149, 100, 1}, {150, 100, 2},
                                             {5, 3, 2},     {4, 3, 1},     {30000, 100, 300}};
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
    for (int64_t t = 1; t <= 14; ++t) {  // every fourth step has no temperature sample
        step(hub, {{static_cast<uint8_t>(t % 4 == 0 ? IN_PRESSURE : IN_TEMPERATURE), t, 20.0f}});
        runs += hub.channelRunMask != 0 ? 'R' : '.';
    }
    EXPECT_EQ(runs, "..R...R...R...");
    subscribe(hub, {{OUT_COMPENSATED_TEMPERATURE, 300}, {OUT_PASSTHROUGH_TEMPERATURE, 100}});
    step(hub, {{IN_TEMPERATURE, 20, 20.0f}});
    EXPECT_EQ(hub.channelRunMask, 0u);  // counter restarted
}

}  // namespace
}  // namespace vorn::test
