// Channel 2: turns the compensated log gas value and the learnt bands into the
// air-quality outputs: band-scaled index, fixed-scale index, linear and
// exponential estimates and the gas percentage, each with its accuracy.
#pragma once

#include <array>
#include <cstdint>

#include "modules/gas_humidity_baseline_tracker.h"

namespace vorn {

struct IaqResult {
    float value;
    float accuracy;  // track status 0..3
};

// In output order: IAQ index, fixed scale, linear, exponential, gas percent.
using IaqResults = std::array<IaqResult, 5>;

struct IaqEstimator {
    uint32_t channelId;        // 2
    uint16_t indexUpperLimit;
    uint8_t indexLowerLimit;
    uint16_t indexScale;
    uint8_t indexOffset;
    float fixedSlope;          // derived
    float linearSlopeLow;
    float linearSlopeHigh;
    uint16_t linearBase;
    float expValueHigh;
    float expValueLow;
    uint16_t expUpperLimit;    // fixed
    float expLogSlope;         // derived
    float expLogIntercept;     // derived
    float linearKnee;          // fixed
    float heldIndex;           // state
    float heldFixedScaleIndex; // state

    IaqEstimator();

    void updateInterfaceDependency(uint16_t interval);
    void doStep(const BaselineBounds& bounds, IaqResults& results, float compensated,
                float progress);

    uint32_t getConfiguration(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    uint32_t getState(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    int32_t configure(const uint8_t* section, uint32_t length);
    int32_t setState(const uint8_t* section, uint32_t length);
};

}  // namespace vorn
