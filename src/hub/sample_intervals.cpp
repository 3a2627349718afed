// The hub's schedule: turns each subscribed output interval into the intervals of
// the channels and inputs it needs, derives how many eligible steps each channel
// skips, and hands a channel's interval to its module so that the module can
// recompute its interval-dependent parameters.
#include "math/fp_rules.h"

#include <algorithm>

#include "hub/channel_hub.h"

namespace vorn {

namespace {

constexpr uint16_t kNoDownsampling = 1;

constexpr bool hasBit(uint32_t mask, uint32_t id) {
    return ((mask >> (id - 1)) & 1u) != 0;
}

// Lower `interval` to `limit`: an interval follows the fastest output that needs it.
void lowerTo(uint16_t& interval, uint16_t limit) {
    interval = std::min(interval, limit);
}

// The slowest active source a channel waits for: its upstream channels and its
// required inputs; 0 when none of them is active.
uint16_t slowestSource(const ChannelHub& hub, uint32_t id) {
    uint16_t slowest = 0;
    const uint32_t upstream = kChannelUpstream[id - 1];
    for (uint32_t c = 1; c <= kMaxChannelId; ++c) {
        if (!isChannelId(c) || !hasBit(upstream, c)) continue;
        const uint16_t interval = hub.channelSamplIntvl[channelIndex(c)];
        if (interval != kIntervalOff) slowest = std::max(slowest, interval);
    }
    const uint32_t inputs = kChannelInputs[id - 1];
    for (uint32_t i = 1; i <= kMaxInputId; ++i) {
        if (!isInputId(i) || !hasBit(inputs, i)) continue;
        const uint16_t interval = hub.inputSamplIntvl[inputIndex(i)];
        if (interval != kIntervalOff) slowest = std::max(slowest, interval);
    }
    return slowest;
}

// channel / source rounded to the nearest integer, halves upward, in 16 bits.
uint16_t roundedRatio(uint16_t channelInterval, uint16_t source) {
    auto q = static_cast<uint16_t>(channelInterval / source);
    const auto r = static_cast<uint16_t>(channelInterval % source);
    const auto half = static_cast<uint16_t>(source / 2 + source % 2);
    if (r != 0 && r >= half) q = static_cast<uint16_t>(q + 1);
    return q;
}

}  // namespace

void ChannelHub::resetSamplIntvls() {
    channelSamplIntvl.fill(kIntervalOff);
    inputSamplIntvl.fill(kIntervalOff);
    subscribedOutputs = 0;
    downsamplingFactor.fill(kNoDownsampling);
    downsamplingCounter.fill(0);
}

void ChannelHub::updateOutputSamplIntvl(uint8_t id, uint16_t interval) {
    if (!isOutputId(id)) return;
    const uint32_t bit = 1u << (id - 1);
    subscribedOutputs =
        interval != kIntervalOff ? subscribedOutputs | bit : subscribedOutputs & ~bit;
    const uint32_t channels = kOutputChannels[id - 1];
    for (uint32_t c = 1; c <= kMaxChannelId; ++c) {
        if (isChannelId(c) && hasBit(channels, c))
            lowerTo(channelSamplIntvl[channelIndex(c)], interval);
    }
    const uint32_t inputs = kOutputInputs[id - 1];
    for (uint32_t i = 1; i <= kMaxInputId; ++i) {
        if (isInputId(i) && hasBit(inputs, i)) lowerTo(inputSamplIntvl[inputIndex(i)], interval);
    }
}

void ChannelHub::recalculateDownsampling() {
    forEachModule(*this, [this](const auto& module) {
        const int k = channelIndex(module.kChannelId);
        const uint16_t interval = channelSamplIntvl[k];
        if (interval == kIntervalOff) return;
        const uint16_t source = slowestSource(*this, module.kChannelId);
        // Without an active source the factor stays as the reset left it.
        if (source != 0) downsamplingFactor[k] = roundedRatio(interval, source);
    });
}

void ChannelHub::applyChannelInterval(uint32_t id) {
    if (!isChannelId(id)) return;
    const uint16_t interval = channelSamplIntvl[channelIndex(id)];
    forEachModule(*this, [id, interval](auto& module) {
        if (module.kChannelId == id) module.setInterval(interval);
    });
}

void ChannelHub::resetIaqChain() {
    baselineTracker.resetLearning();
    applyChannelInterval(channel::kBaselineTracker);
    iaqEstimator.resetLearning();
    applyChannelInterval(channel::kIaqEstimator);
}

}  // namespace vorn
