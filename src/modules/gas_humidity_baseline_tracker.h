// Channel 1: compensates log gas for absolute humidity and learns two robust bands
// of the compensated signal (a fast track, one-day relaxation, and a slow track,
// 750 days), grading each 0..3. The bands are the calibration of the IAQ index and
// the heart of the saved state.
//
// Behaviour chosen where the wire contract leaves room:
// - A configuration or state section shorter than its fields is refused with
//   RC_E_SECTION_SHORT and changes nothing (as does a wrong id, RC_E_SECTION_UNKNOWN).
// - Only a baseline index whose integer part is 1 or 2 is an event; anything below 1
//   (including negative values and NaN) or from 3 upwards counts as no event.
// - The hold-off countdown saturates at 0 instead of wrapping. An event moves the
//   countdown toward its target from either side by the fraction exp(-exponent) of
//   the signed distance (rounded half away from zero), kept within 0..65535;
//   exponent 0 sets the target. A NaN result leaves the countdown unchanged.
#pragma once

#include <array>
#include <cstdint>

namespace vorn {

// Handed to the IAQ estimator in the same step.
struct BaselineBounds {
    std::array<float, 2> upper;   // track 1, track 2
    std::array<float, 2> lower;   // track 1, track 2
    std::array<float, 2> status;  // track 1, track 2 (0..3)
};
static_assert(sizeof(BaselineBounds) == 24);

// Resistance ratio that spans the learnt band at a sample interval (10 ms units);
// shared with the IAQ estimator so both scale alike.
constexpr float bandRatio(uint16_t interval) {
    if (interval == 300) return 0.64f;
    if (interval == 100 || interval == 1800) return 0.6f;
    return 0.7746f;
}

struct GasHumidityBaselineTracker {
    uint32_t channelId;                      // 1
    uint16_t samplIntvl;                     // last applied interval; 65535 = none
    float rangeScale;                        // derived
    std::array<float, 2> robustMax;          // 0.0 = not seeded
    std::array<float, 2> robustMin;          // 0.0 = not seeded
    uint16_t reserved1;                      // carried through the state section only
    uint16_t reserved2;                      // carried through the state section only
    std::array<uint8_t, 2> inBandCount;      // saturates at 255
    std::array<float, 2> trackStatus;        // 0..3
    uint16_t holdOffRemaining;               // s
    uint16_t stepSeconds;                    // derived
    std::array<float, 4> humiditySlope;      // [0] other, [1] 1800, [2] 300, [3] 100
    int8_t temperatureMin;                   // C
    int8_t temperatureMax;                   // C
    uint8_t humidityMin;                     // %
    uint8_t humidityMax;                     // %
    float riseTime;                          // s
    std::array<float, 2> decayTimeConstant;  // s, per track
    uint8_t inBandThreshold;                 // derived
    std::array<uint16_t, 2> holdOffTarget;   // s, per event kind
    std::array<float, 2> holdOffExponent;    // per event kind
    // Cached, never serialized: they depend only on the interval, rangeScale and the
    // configuration, and are refreshed wherever one of those changes.
    float riseStep;                    // largest outward move of a bound per sample
    std::array<float, 2> relaxFactor;  // 1 - exp(-dt / decayTimeConstant), per track

    GasHumidityBaselineTracker();

    // Reset learnt state and derived values; configuration stays.
    void setState();
    // Recompute riseStep and relaxFactor from samplIntvl, rangeScale, riseTime and
    // decayTimeConstant. Anyone who writes those fields directly must call it.
    void refreshFilterCoefficients();

    // Derive stepSeconds, rangeScale and inBandThreshold from a new interval (10 ms
    // units); 65535 or the interval already applied changes nothing.
    void updateInterfaceDependency(uint16_t interval);
    // One step: compensate, learn (when gated in), classify, and write the bounds
    // and the compensated value. With modifiedHeating set the state is frozen but
    // the outputs are still written.
    void doStep(uint8_t accumulatedFlag, uint8_t continuousFlag, bool modifiedHeating,
                BaselineBounds& bounds, float& compensated, float logGas, float temperature,
                float humidity, float baselineIndex);
    // One update of one bound of track 1 or 2 towards x.
    void filterRobustMaxMin(float& bound, bool lowerBound, uint8_t track, float x) const;

    // Sections: configuration 48 bytes, state 45 bytes (header included).
    uint32_t getConfiguration(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    uint32_t getState(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    // RC_OK, RC_E_SECTION_SHORT or RC_E_SECTION_UNKNOWN; nothing changes on failure.
    int32_t configure(const uint8_t* section, uint32_t length);
    int32_t setState(const uint8_t* section, uint32_t length);
};

}  // namespace vorn
