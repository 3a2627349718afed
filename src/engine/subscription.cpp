// Recording requested output intervals, the timing rules a whole subscription
// must meet, and pushing a recorded subscription into the channel hub. A request
// only records; the hub's schedule changes when the change is applied, at the
// next sensor-control call or at the end of the next processing step.
#include "math/fp_rules.h"

#include "engine/engine.h"

namespace vorn {
namespace {

// Every output at this interval or off needs no timing check at all.
constexpr uint16_t kUncheckedIntvl = 1800;
// A measurement costs 4 ms beyond the heater on-time, and 2 ms per oversampling step.
constexpr uint16_t kHeaterOverheadMs = 4;
constexpr uint16_t kMsPerOversamplingStep = 2;
constexpr uint8_t kOversamplingValueMask = 127;
constexpr float kIntervalUnitsPerSecond = 100.0f;  // 10 ms units
constexpr float kMsPerSecond = 1000.0f;

bool needsGas(uint8_t outputId) {
    return hasId(kGasOutputs, outputId);
}

}  // namespace

void Engine::requestOutput(uint8_t id, uint16_t interval) {
    const int slot = outputIndex(id);
    if (requestedOutputIntvl[slot] != interval) outputIntvlChanged[slot] = 1;
    requestedOutputIntvl[slot] = interval;
    subscriptionChanged = 1;
}

int32_t Engine::checkIntervalsCompatible(const OutputIntervals& newIntervals) const {
    bool allUnchecked = true;
    uint16_t shortest = baseIntvl;
    for (uint8_t id = 1; id <= kMaxOutputId; ++id) {
        if (!isOutputId(id)) continue;
        const uint16_t interval = newIntervals[outputIndex(id)];
        if (interval != kUncheckedIntvl && interval != kIntervalOff) allUnchecked = false;
        if (interval < shortest) shortest = interval;
    }
    if (allUnchecked) return RC_OK;

    if (shortest != kIntervalOff) {
        if (remainderOrSelf(baseIntvl, shortest) != 0) return RC_E_INTERVAL_NOT_MULTIPLE;
        for (uint16_t interval : newIntervals) {
            if (interval != kIntervalOff && remainderOrSelf(interval, shortest) != 0) {
                return RC_E_INTERVAL_NOT_MULTIPLE;
            }
        }
    }

    uint16_t gasIntvl = kIntervalOff;
    for (uint8_t id = 1; id <= kMaxOutputId; ++id) {
        if (!isOutputId(id) || !needsGas(id)) continue;
        const uint16_t interval = newIntervals[outputIndex(id)];
        if (interval == kIntervalOff) continue;
        if (gasIntvl != kIntervalOff && interval != gasIntvl) return RC_E_GAS_INTERVAL_CONFLICT;
        gasIntvl = interval;
    }

    uint16_t heaterMs = kHeaterOverheadMs;
    for (int column = 0; column < kHeaterProfileCount; ++column) {
        if (gasIntvlList[column] == gasIntvl) {
            heaterMs = static_cast<uint16_t>(heaterDuration[column] + kHeaterOverheadMs);
            break;
        }
    }
    const int oversamplingSteps = (temperatureOversampling & kOversamplingValueMask) +
                                  (pressureOversampling & kOversamplingValueMask) +
                                  (humidityOversampling & kOversamplingValueMask);
    const auto durationMs =
        static_cast<uint16_t>(heaterMs + kMsPerOversamplingStep * oversamplingSteps);
    const float shortestAllowed =
        static_cast<float>(durationMs) * kIntervalUnitsPerSecond / kMsPerSecond;
    for (uint16_t interval : newIntervals) {
        if (interval != kIntervalOff && static_cast<float>(interval) < shortestAllowed) {
            return RC_E_INTERVAL_TOO_SHORT;
        }
    }
    return RC_OK;
}

void Engine::applyUpdateSubscription() {
    if (subscriptionChanged == 0) return;
    hub.resetSamplIntvls();
    for (uint8_t id = 1; id <= kMaxOutputId; ++id) {
        if (isOutputId(id)) hub.updateOutputSamplIntvl(id, requestedOutputIntvl[outputIndex(id)]);
    }
    hub.recalculateDownsampling();
    // A channel shared by several changed outputs is told once per output, each
    // time with the same final interval.
    for (uint8_t id = 1; id <= kMaxOutputId; ++id) {
        if (!isOutputId(id) || outputIntvlChanged[outputIndex(id)] == 0) continue;
        const uint32_t channels = kOutputChannels[id - 1];
        for (uint8_t channel = 1; channel <= kMaxChannelId; ++channel) {
            if (hasId(channels, channel)) hub.applyChannelInterval(channel);
        }
    }
    subscriptionChanged = 0;
    outputIntvlChanged.fill(0);
    heaterProfileIndex = 0;
    const uint16_t gasIntvl = hub.inputInterval(IN_GAS_RESISTANCE);
    for (int column = 0; column < kHeaterProfileCount; ++column) {
        if (gasIntvlList[column] == gasIntvl) {
            heaterProfileIndex = static_cast<uint8_t>(column + 1);
            break;
        }
    }
}

}  // namespace vorn
