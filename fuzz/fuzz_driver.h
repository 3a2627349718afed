// Drives the library the way a well-behaved client does (sensor control at the
// planned time, measure what it asks for, process), so that the fuzz targets can
// reach the learning and estimation code after an import or between hostile calls.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <array>
#include <cmath>
#include <cstdint>

#include "fuzz_support.h"
#include "vorn/vorn.h"

namespace vorn_fuzz {

inline constexpr uint8_t kOutputIds[] = {1, 2, 3, 4, 6, 7, 8, 9, 12, 13, 14, 15, 18, 21};
inline constexpr uint8_t kInputIds[] = {1, 2, 3, 4, 14, 22, 23, 24};
inline constexpr uint32_t kInputMask = 0x00E0200Fu;
inline constexpr uint32_t kOutputMask = 0x001279EFu;

inline bool inMask(uint32_t mask, uint32_t id) {
    return id >= 1 && id <= 32 && ((mask >> (id - 1)) & 1u) != 0;
}

// Accepted input range by identifier (the built-in limits; no import can change them).
struct Range {
    float min, max;
};
inline Range inputRange(uint8_t id) {
    constexpr Range kPhysical[] = {
        {0.0f, 2e6f}, {0.0f, 100.0f}, {-65.0f, 125.0f}, {170.0f, 1.32e7f}};
    if (id >= IN_PRESSURE && id <= IN_GAS_RESISTANCE) return kPhysical[id - IN_PRESSURE];
    if (id == IN_TEMPERATURE_OFFSET) return {-3.4028235e38f, 3.4028235e38f};
    return {0.0f, id == IN_PROCESSING_INHIBIT ? 9.0f : 2.0f};  // heating flag, baseline index: 0..2
}

inline bool inRange(uint8_t id, float v) {
    const Range r = inputRange(id);
    return v >= r.min && v <= r.max;  // false for NaN
}

// A plausible reading of one of the four physical inputs, shaped by one fuzz byte; the
// gas resistance moves by one decade at most.
inline float plausibleValue(uint8_t id, uint8_t shape, uint32_t cycle) {
    const float phase = static_cast<float>(cycle % 600u) / 600.0f;
    const float swing = static_cast<float>(shape) / 255.0f;
    if (id == IN_PRESSURE) return 98000.0f + 4000.0f * swing;
    if (id == IN_HUMIDITY) return 20.0f + 60.0f * swing * phase;
    if (id == IN_TEMPERATURE) return 15.0f + 20.0f * swing + 2.0f * phase;
    return 50000.0f * std::pow(10.0f, swing * (phase - 0.5f));
}

// now + delta with two's-complement wrap-around instead of undefined overflow.
inline int64_t advance(int64_t now, int64_t delta) {
    return static_cast<int64_t>(static_cast<uint64_t>(now) + static_cast<uint64_t>(delta));
}

struct Driver {
    int64_t now = 1'000'000'000;
    uint32_t cycle = 0;

    // The physical inputs the plan asks for at time t, with plausible values.
    uint8_t measure(const SensorSettings& s, int64_t t, uint8_t shape,
                    std::array<InputSample, 4>& inputs) const {
        uint8_t n = 0;
        for (uint8_t id = IN_PRESSURE; id <= IN_GAS_RESISTANCE; ++id) {
            if (inMask(s.input_mask, id))
                inputs[n++] = InputSample{t, plausibleValue(id, shape, cycle), 0, id, {}};
        }
        return n;
    }

    // One cooperative cycle. Returns the status of vorn_do_steps.
    int32_t runCycle(uint8_t shape, OutputSample* outputs, uint8_t& nOutputs) {
        SensorSettings settings{};
        const int32_t control = vorn_sensor_control(now, &settings);
        FUZZ_CHECK(control == RC_OK || control == RC_W_CALL_TIME_DEVIATION);
        FUZZ_CHECK((settings.input_mask & ~kInputMask) == 0);
        std::array<InputSample, 4> inputs{};
        const uint8_t n = measure(settings, now, shape, inputs);
        const int32_t status = vorn_do_steps(inputs.data(), n, outputs, &nOutputs);
        FUZZ_CHECK(
            oneOf(status, {RC_OK, RC_W_INPUT_REPEATED, RC_W_OUTPUT_OVERFLOW, RC_W_NO_OUTPUT_ROOM}));
        // Follow the plan; an interval of 0 would stall the clock, so always move on
        // (wrapping like the library's own clock does at the end of the range).
        now = settings.next_call_ns > now ? settings.next_call_ns : advance(now, 1'000'000'000);
        ++cycle;
        return status;
    }
};

// Subscribe `n` of `ids` at one rate; returns the status.
inline int32_t subscribeAll(float rate, const uint8_t* ids, uint8_t n) {
    std::array<SensorRate, 14> req{};
    for (uint8_t i = 0; i < n; ++i) req[i] = SensorRate{rate, ids[i], {}};
    std::array<SensorRate, 8> required{};
    uint8_t count = 8;
    return vorn_update_subscription(req.data(), n, required.data(), &count);
}

// The host's ten outputs at 1/3 Hz.
inline int32_t subscribeLowPower() {
    static constexpr uint8_t kIds[] = {1, 14, 7, 15, 9, 6, 8, 2, 3, 4};
    return subscribeAll(0.33333f, kIds, 10);
}

}  // namespace vorn_fuzz
