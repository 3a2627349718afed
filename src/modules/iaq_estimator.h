// Channel 2: turns the compensated log gas value and the learnt bands into the
// air-quality outputs: band-scaled index, fixed-scale index, linear and
// exponential estimates and the gas percentage, each with its accuracy.
//
// Behaviour chosen where the wire contract leaves room:
// - A configuration or state section shorter than its fields is refused with
//   RC_E_SECTION_SHORT and changes nothing (as does a wrong id, RC_E_SECTION_UNKNOWN).
// - A band of zero width (an imported state can carry one) never yields NaN or
//   infinity: with U1 = L1 the band-scaled index is indexOffset at or above U1 and
//   indexUpperLimit below it (then bounded and blended like any index); with
//   U2 = L2 the percentage is 0 at or above U2 and 100 below it.
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
    uint32_t channelId;  // 2
    uint16_t indexUpperLimit;
    uint8_t indexLowerLimit;
    uint16_t indexScale;
    uint8_t indexOffset;
    float fixedSlope;  // derived
    float linearSlopeLow;
    float linearSlopeHigh;
    uint16_t linearBase;
    float expValueHigh;
    float expValueLow;
    uint16_t expUpperLimit;     // fixed
    float expLogSlope;          // derived
    float expLogIntercept;      // derived
    float linearKnee;           // fixed
    float heldIndex;            // state
    float heldFixedScaleIndex;  // state

    IaqEstimator();

    // Recompute fixedSlope, expLogSlope and expLogIntercept for the interval (10 ms
    // units); 65535 changes nothing, any other value always recomputes.
    void updateInterfaceDependency(uint16_t interval);
    // One step from the bounds, the compensated value and the continuous-time
    // progress (0..1) of the same step.
    void doStep(const BaselineBounds& bounds, IaqResults& results, float compensated,
                float progress);

    // Sections: configuration 28 bytes, state 12 bytes (header included).
    uint32_t getConfiguration(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    uint32_t getState(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    // RC_OK, RC_E_SECTION_SHORT or RC_E_SECTION_UNKNOWN; nothing changes on failure.
    // A configuration takes effect in the derived fields at the next interval update.
    int32_t configure(const uint8_t* section, uint32_t length);
    int32_t setState(const uint8_t* section, uint32_t length);
};

}  // namespace vorn
