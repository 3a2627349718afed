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

#include "identifiers/identifiers.h"
#include "modules/gas_humidity_baseline_tracker.h"
#include "serialization/section.h"

namespace vorn {

struct IaqResult {
    float value;
    float accuracy;  // track status 0..3
};

// In output order: IAQ index, fixed scale, linear, exponential, gas percent.
using IaqResults = std::array<IaqResult, 5>;

// Configuration section: X(wire name, member, unit, lowest, highest, help).
#define VORN_IAQ_ESTIMATOR_CONFIGURATION(X)                                                        \
    X(index_lower_limit, indexLowerLimit, None, 0, 255, "lower bound of both indices")             \
    X(index_upper_limit, indexUpperLimit, None, 0, 65535, "upper bound of the IAQ index")          \
    X(index_scale, indexScale, None, 1, 65535, "index span from the upper to the lower bound")     \
    X(index_offset, indexOffset, None, 0, 255, "index value at the upper bound")                   \
    X(linear_slope_low, linearSlopeLow, None, -3.4e38, 3.4e38,                                     \
      "linear estimate slope up to the knee")                                                      \
    X(linear_slope_high, linearSlopeHigh, None, -3.4e38, 3.4e38,                                   \
      "linear estimate slope above the knee")                                                      \
    X(linear_base, linearBase, None, 0, 65535, "base and floor of the linear estimate")            \
    X(exp_value_high, expValueHigh, None, 1e-30, 3.4e38, "exponential estimate at offset + scale") \
    X(exp_value_low, expValueLow, None, 1e-30, 3.4e38, "exponential estimate at the offset")

// State section.
#define VORN_IAQ_ESTIMATOR_STATE(X)                                       \
    X(held_index, heldIndex, None, -3.4e38, 3.4e38,                       \
      "IAQ index held from the last step with full progress")             \
    X(held_fixed_scale_index, heldFixedScaleIndex, None, -3.4e38, 3.4e38, \
      "fixed-scale index held likewise")

struct IaqEstimator {
    static constexpr uint32_t kChannelId = channel::kIaqEstimator;
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

    // Back to the resting index: the held indices are all the estimator learns.
    void resetLearning();

    // Recompute fixedSlope, expLogSlope and expLogIntercept for the interval (10 ms
    // units); 65535 changes nothing, any other value always recomputes.
    void setInterval(uint16_t interval);
    // One step from the bounds, the compensated value and the continuous-time
    // progress (0..1) of the same step.
    void step(const BaselineBounds& bounds, IaqResults& results, float compensated, float progress);

    // A configuration takes effect in the derived fields at the next interval update.
    VORN_SECTION_FIELDS(kChannelId, VORN_IAQ_ESTIMATOR_CONFIGURATION, VORN_IAQ_ESTIMATOR_STATE)
};

}  // namespace vorn
