// Channel 1: compensates log gas for absolute humidity and learns two robust bands
// of the compensated signal (a fast track, one-day relaxation, and a slow track,
// 750 days), grading each 0..3. The bands are the calibration of the IAQ index and
// the heart of the saved state.
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

struct GasHumidityBaselineTracker {
    uint32_t channelId;                   // 1
    uint16_t samplIntvl;                  // last applied interval; 65535 = none
    float rangeScale;                     // derived
    std::array<float, 2> robustMax;       // 0.0 = not seeded
    std::array<float, 2> robustMin;       // 0.0 = not seeded
    uint16_t reserved1;
    uint16_t reserved2;
    std::array<uint8_t, 2> inBandCount;   // saturates at 255
    std::array<float, 2> trackStatus;     // 0..3
    uint16_t holdOffRemaining;            // s
    uint16_t stepSeconds;                 // derived
    std::array<float, 4> humiditySlope;   // [0] other, [1] 1800, [2] 300, [3] 100
    int8_t temperatureMin;                // C
    int8_t temperatureMax;                // C
    uint8_t humidityMin;                  // %
    uint8_t humidityMax;                  // %
    float riseTime;                       // s
    std::array<float, 2> decayTimeConstant;  // s, per track
    uint8_t inBandThreshold;              // derived
    std::array<uint16_t, 2> holdOffTarget;   // s, per event kind
    std::array<float, 2> holdOffExponent;    // per event kind

    GasHumidityBaselineTracker();

    // Reset learnt state and derived values; configuration stays.
    void setState();

    void updateInterfaceDependency(uint16_t interval);
    void doStep(uint8_t accumulatedFlag, uint8_t continuousFlag, bool modifiedHeating,
                BaselineBounds& bounds, float& compensated, float logGas, float temperature,
                float humidity, float baselineIndex);
    // One update of one bound of track 1 or 2 towards x.
    void filterRobustMaxMin(float& bound, bool lowerBound, uint8_t track, float x) const;

    uint32_t getConfiguration(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    uint32_t getState(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    int32_t configure(const uint8_t* section, uint32_t length);
    int32_t setState(const uint8_t* section, uint32_t length);
};

}  // namespace vorn
