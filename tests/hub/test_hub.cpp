// The channel hub where the exported operations cannot reach it: downsampling factors of
// intervals a configuration may allow, inhibit, accuracy rounding, and every module's
// section walked through its field list. Routing and timing are pinned end to end by the
// bit-identity week and the library tests.
#include <gtest/gtest.h>

#include <array>
#include <initializer_list>
#include <limits>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "hub/channel_hub.h"
#include "vorn/vorn.h"

namespace vorn::test {
namespace {

using Bytes = std::vector<uint8_t>;

// (output, interval) requests, applied as the library applies a subscription.
void subscribe(ChannelHub& hub, std::initializer_list<std::pair<uint8_t, uint16_t>> requests) {
    hub.resetSamplIntvls();
    for (const auto& [output, interval] : requests) hub.updateOutputSamplIntvl(output, interval);
    hub.recalculateDownsampling();
    for (uint32_t c = 1; c <= kMaxChannelId; ++c) hub.applyChannelInterval(c);
}

// (input, time stamp, value) samples, then one step that starts with no valid outputs.
void step(ChannelHub& hub, std::initializer_list<std::tuple<uint8_t, int64_t, float>> samples) {
    for (const auto& [input, timestamp, value] : samples) hub.setInput(input, timestamp, value);
    hub.outputValidMask = 0;
    hub.step();
}

// Bit id-1 for each id, the form of the hub's masks.
constexpr uint32_t bits(std::initializer_list<uint32_t> ids) {
    uint32_t mask = 0;
    for (uint32_t id : ids) mask |= 1u << (id - 1);
    return mask;
}

constexpr uint8_t kGasOutputs[] = {1, 2, 3, 4, 9, 12, 13, 18, 21},
                  kFastOutputs[] = {6, 7, 8, 14, 15};
void subscribeEverything(ChannelHub& hub) {
    hub.resetSamplIntvls();
    for (const uint8_t id : kGasOutputs) hub.updateOutputSamplIntvl(id, 300);
    for (const uint8_t id : kFastOutputs) hub.updateOutputSamplIntvl(id, 100);
    hub.recalculateDownsampling();
    for (uint32_t c = 1; c <= kMaxChannelId; ++c) hub.applyChannelInterval(c);
}

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

TEST(HubInputs, InhibitStopsModulesButNotPassThroughOrCounters) {
    ChannelHub hub;  // channel 9 runs on every third temperature sample
    subscribe(hub, {{OUT_PASSTHROUGH_TEMPERATURE, 100}, {OUT_COMPENSATED_TEMPERATURE, 300}});
    hub.setInput(IN_PROCESSING_INHIBIT, 1, 2.0f);
    for (int64_t t = 1; t <= 6; ++t) {
        if (t == 4) hub.setInput(IN_PROCESSING_INHIBIT, 4, 0.0f);
        step(hub, {{uint8_t{IN_TEMPERATURE}, t, 25.0f}});
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

// A section whose every field byte differs (its offset), laid out as the field list
// places the fields, so a skipped, shifted or resized field shows. Flag bytes hold
// `flag`: what goes in as any non-zero byte comes back as 1.
template <typename Module>
Bytes patterned(const Module& m, SectionKind kind, uint8_t flag) {
    Bytes section = {0, 0, static_cast<uint8_t>(Module::kSectionId), 0};
    Module::visitFields(m, kind, [&](const auto& field) {
        constexpr bool isFlag = std::is_same_v<std::remove_cvref_t<decltype(field)>, bool>;
        for (size_t i = 0; i < sizeof(field); ++i)
            section.push_back(isFlag ? flag : static_cast<uint8_t>(section.size()));
    });
    section[0] = static_cast<uint8_t>(section.size());
    return section;
}

Bytes exported(const ChannelHub& hub, SectionKind kind, uint32_t id) {
    Bytes out(256);
    out.resize(hub.exportChannelSection(kind, id, out.data(), static_cast<uint32_t>(out.size())));
    return out;
}

TEST(HubSections, EveryFieldListRoundTripsAndRefusesDamage) {
    ChannelHub hub;
    ChannelHub::forEachModule(hub, [&hub](const auto& module) {
        const uint32_t id = module.kSectionId;
        for (const SectionKind kind : {SectionKind::kConfiguration, SectionKind::kState}) {
            SCOPED_TRACE(testing::Message() << "section " << id << " kind " << int(kind));
            Bytes in = patterned(module, kind, 0x80);
            const auto length = static_cast<uint32_t>(in.size());
            ASSERT_EQ(hub.importChannelSection(kind, id, in.data(), length), RC_OK);
            EXPECT_EQ(exported(hub, kind, id), patterned(module, kind, 1));

            const Bytes before = exported(hub, kind, id);
            EXPECT_EQ(hub.importChannelSection(kind, id, in.data(), length - 1),
                      RC_E_SECTION_SHORT);
            EXPECT_EQ(hub.importChannelSection(kind, id, in.data(), 3), RC_E_SECTION_SHORT);
            in[2] = static_cast<uint8_t>(id + 1);
            EXPECT_EQ(hub.importChannelSection(kind, id, in.data(), length), RC_E_SECTION_UNKNOWN);
            EXPECT_EQ(exported(hub, kind, id), before);

            Bytes small(length - 1);
            EXPECT_EQ(hub.exportChannelSection(kind, id, small.data(), length - 1), length);
        }
    });
}

}  // namespace
}  // namespace vorn::test
