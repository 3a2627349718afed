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
    X(index_lower_limit, settings.indexLowerLimit, None, 0, 255, "lower bound of both indices")    \
    X(index_upper_limit, settings.indexUpperLimit, None, 0, 65535, "upper bound of the IAQ index") \
    X(index_scale, settings.indexScale, None, 1, 65535,                                            \
      "index span from the upper to the lower bound")                                              \
    X(index_offset, settings.indexOffset, None, 0, 255, "index value at the upper bound")          \
    X(linear_slope_low, settings.linearSlopeLow, None, -3.4e38, 3.4e38,                            \
      "linear estimate slope up to the knee")                                                      \
    X(linear_slope_high, settings.linearSlopeHigh, None, -3.4e38, 3.4e38,                          \
      "linear estimate slope above the knee")                                                      \
    X(linear_base, settings.linearBase, None, 0, 65535, "base and floor of the linear estimate")   \
    X(exp_value_high, settings.expValueHigh, None, 1e-30, 3.4e38,                                  \
      "exponential estimate at offset + scale")                                                    \
    X(exp_value_low, settings.expValueLow, None, 1e-30, 3.4e38,                                    \
      "exponential estimate at the offset")

// State section.
#define VORN_IAQ_ESTIMATOR_STATE(X)                                              \
    X(held_index, learnt.heldIndex, None, -3.4e38, 3.4e38,                       \
      "IAQ index held from the last step with full progress")                    \
    X(held_fixed_scale_index, learnt.heldFixedScaleIndex, None, -3.4e38, 3.4e38, \
      "fixed-scale index held likewise")

struct IaqEstimator {
    static constexpr uint32_t kChannelId = channel::kIaqEstimator;

    struct Settings {
        uint8_t indexLowerLimit;   // lower bound of both indices
        uint16_t indexUpperLimit;  // upper bound of the band-scaled index
        uint16_t indexScale;       // index span across the band
        uint8_t indexOffset;       // index at the band's upper bound
        float linearSlopeLow;      // linear estimate up to the knee
        float linearSlopeHigh;     // and above it
        uint16_t linearBase;       // base and floor of the linear estimate
        float expValueHigh;        // exponential estimate at offset + scale
        float expValueLow;         // and at the offset
    };
    struct Learnt {
        float heldIndex;  // the indices held from the last step with full progress
        float heldFixedScaleIndex;
    };
    struct Derived {  // from the settings and the interval
        float fixedSlope;
        float expLogSlope;
        float expLogIntercept;
    };

    static constexpr Settings kDefaultSettings = {0, 500, 225, 25, 4.0f, 10.0f, 400, 15.0f, 0.5f};
    // The held indices after construction and after an output reset: clean air.
    static constexpr Learnt kResting = {25.0f, 25.0f};

    Settings settings = kDefaultSettings;
    Learnt learnt = kResting;
    Derived derived = {};

    // Back to the resting index: the held indices are all the estimator learns.
    void resetLearning();

    // Recompute fixedSlope, expLogSlope and expLogIntercept for the
    // interval (10 ms units); 65535 changes nothing, any other value always recomputes.
    void setInterval(uint16_t interval);
    // One step from the bounds, the compensated value and the continuous-time
    // progress (0..1) of the same step.
    void step(const BaselineBounds& bounds, IaqResults& results, float compensated, float progress);

    // A configuration takes effect in the derived fields at the next interval update.
    VORN_SECTION_FIELDS(kChannelId, VORN_IAQ_ESTIMATOR_CONFIGURATION, VORN_IAQ_ESTIMATOR_STATE)
};

}  // namespace vorn
