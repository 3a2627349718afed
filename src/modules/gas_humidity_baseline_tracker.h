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

#include "identifiers/identifiers.h"
#include "serialization/section.h"

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

// Configuration section: X(wire name, member, unit, lowest, highest, help).
#define VORN_BASELINE_TRACKER_CONFIGURATION(X)                                 \
    X(decay_time_constant, settings.decayTimeConstant, Seconds, 1e-30, 3.4e38, \
      "relaxation time constant of track 1 and 2")                             \
    X(rise_time, settings.riseTime, Seconds, 1e-30, 3.4e38,                    \
      "time for a bound to rise by its full step")                             \
    X(humidity_slope, settings.humiditySlope, None, -3.4e38, 3.4e38,           \
      "humidity compensation slope: other intervals, 1800, 300, 100")          \
    X(hold_off_target, settings.holdOffTarget, Seconds, 0, 65535,              \
      "hold-off an event of kind 1 / 2 moves toward")                          \
    X(temperature_min, settings.temperatureMin, Celsius, -128, 127,            \
      "lowest temperature at which tracking runs")                             \
    X(temperature_max, settings.temperatureMax, Celsius, -128, 127,            \
      "highest temperature at which tracking runs")                            \
    X(humidity_min, settings.humidityMin, Percent, 0, 100,                     \
      "lowest humidity at which tracking runs")                                \
    X(humidity_max, settings.humidityMax, Percent, 0, 100,                     \
      "highest humidity at which tracking runs")                               \
    X(hold_off_exponent, settings.holdOffExponent, None, -3.4e38, 3.4e38,      \
      "exponent of an event of kind 1 / 2")

// State section.
#define VORN_BASELINE_TRACKER_STATE(X)                                                           \
    X(robust_max, learnt.robustMax, None, -3.4e38, 3.4e38,                                       \
      "learnt upper bound of compensated log gas, track 1 / 2")                                  \
    X(robust_min, learnt.robustMin, None, -3.4e38, 3.4e38,                                       \
      "learnt lower bound, track 1 / 2 (0: not seeded)")                                         \
    X(reserved1, learnt.reserved1, None, 0, 65535, "carried, unused")                            \
    X(reserved2, learnt.reserved2, None, 0, 65535, "carried, unused")                            \
    X(sample_interval, derived.samplIntvl, Interval, 0, 65535,                                   \
      "interval the derived values belong to")                                                   \
    X(in_band_count, learnt.inBandCount, None, 0, 255, "consecutive in-band steps, track 1 / 2") \
    X(track_status, learnt.trackStatus, None, -3.4e38, 3.4e38, "status 0..3 of track 1 / 2")     \
    X(hold_off_remaining, learnt.holdOffRemaining, Seconds, 0, 65535,                            \
      "hold-off left before tracking resumes")                                                   \
    X(step_seconds, derived.stepSeconds, Seconds, 0, 65535, "sample interval in whole seconds")  \
    X(range_scale, derived.rangeScale, None, -3.4e38, 3.4e38,                                    \
      "scale of band widths and rise steps")                                                     \
    X(in_band_threshold, derived.inBandThreshold, None, 0, 255, "in-band steps needed for status 3")

struct GasHumidityBaselineTracker {
    static constexpr uint32_t kChannelId = channel::kBaselineTracker;

    struct Settings {
        std::array<float, 2> decayTimeConstant;  // s, per track
        float riseTime;                          // s
        std::array<float, 4> humiditySlope;      // [0] other, [1] 1800, [2] 300, [3] 100
        std::array<uint16_t, 2> holdOffTarget;   // s, per event kind
        int8_t temperatureMin;                   // C
        int8_t temperatureMax;                   // C
        uint8_t humidityMin;                     // %
        uint8_t humidityMax;                     // %
        std::array<float, 2> holdOffExponent;    // per event kind
    };
    struct Learnt {
        std::array<float, 2> robustMax;      // per track; 0.0 = not seeded
        std::array<float, 2> robustMin;      // per track; 0.0 = not seeded
        uint16_t reserved1;                  // carried through the state section only
        uint16_t reserved2;                  // carried through the state section only
        std::array<uint8_t, 2> inBandCount;  // saturates at 255
        std::array<float, 2> trackStatus;    // 0..3
        uint16_t holdOffRemaining;           // s
    };
    // From the interval and the settings; the first four travel with the state.
    struct Derived {
        uint16_t samplIntvl;               // last applied interval; 65535 = none
        uint16_t stepSeconds;              // the interval in whole seconds
        float rangeScale;                  // scale of band widths and rise steps
        uint8_t inBandThreshold;           // in-band steps needed for status 3
        float riseStep;                    // largest outward move of a bound per sample
        std::array<float, 2> relaxFactor;  // 1 - exp(-dt / decayTimeConstant), per track
    };

    static constexpr Settings kDefaultSettings = {{86400.0f, 64800000.0f},
                                                  1800.0f,
                                                  {0.501f, 0.4f, 0.75f, 0.4f},
                                                  {0, 0},
                                                  -40,
                                                  85,
                                                  0,
                                                  100,
                                                  {0.0f, 0.0f}};  // decay: 1 day and 750 days
    static constexpr Learnt kFresh = {{0.0f, 0.0f}, {0.0f, 0.0f}, 0, 0, {2, 2}, {0.0f, 0.0f}, 0};
    static constexpr Derived kNoInterval = {kIntervalOff, 0, 0.0f, 2, 0.0f, {0.0f, 0.0f}};

    Settings settings = kDefaultSettings;
    Learnt learnt = kFresh;
    Derived derived = kNoInterval;

    GasHumidityBaselineTracker() { resetLearning(); }

    // Forget the learnt state and derived values; configuration stays.
    void resetLearning();
    // Recompute riseStep and relaxFactor from the interval, rangeScale,
    // riseTime and decayTimeConstant. Anyone who writes those fields directly
    // must call it.
    void refreshFilterCoefficients();

    // Derive stepSeconds, rangeScale and inBandThreshold from a new
    // interval (10 ms units); 65535 or the interval already applied changes nothing.
    void setInterval(uint16_t interval);
    // One step: compensate, learn (when gated in), classify, and write the bounds
    // and the compensated value. With modifiedHeating set the state is frozen but
    // the outputs are still written.
    void step(uint8_t accumulatedFlag, uint8_t continuousFlag, bool modifiedHeating,
              BaselineBounds& bounds, float& compensated, float logGas, float temperature,
              float humidity, float baselineIndex);
    // One update of one bound of track 1 or 2 towards x.
    void filterRobustMaxMin(float& bound, bool lowerBound, uint8_t track, float x) const;

    VORN_SECTION_FIELDS(kChannelId, VORN_BASELINE_TRACKER_CONFIGURATION,
                        VORN_BASELINE_TRACKER_STATE)
    // Both sections carry fields the cached coefficients follow.
    void afterImport(SectionKind /*kind*/) { refreshFilterCoefficients(); }
};

}  // namespace vorn
