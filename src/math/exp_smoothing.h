// The first-order exponential smoothing filter record, in its three-element form
// (gas pre-processor) and one-element form (humidity corrector), and the rule that
// turns a normalised bandwidth into a smoothing coefficient. The owning module
// performs the update itself: new = (input - state) * coeff + state.
#pragma once

#include <array>
#include <cstdint>

#include "math/numeric.h"

namespace vorn {

template <std::size_t N>
struct ExpSmoothing {
    std::array<float, N> coeff;  // smoothing coefficient per element, 0..1 (1 = follow input)
    std::array<float, N> state;  // last filtered value per element; 0.0 = not seeded

    // Coefficients 0.5, states 0.0.
    constexpr ExpSmoothing() : coeff{}, state{} { coeff.fill(0.5f); }
};

// Coefficients from normalised bandwidths w (bandwidth / half the sampling
// frequency, callers clamp to <= 1): s = sin(w * pi/2), q = s^2,
// t = sqrt(q^2 + q), coeff = 1 exactly when w == 1, else (t - q) + (t - q).
void setCoeffFromBandwidth(Vec3& coeff, const Vec3& w);

// The same rule for one element.
float coeffFromBandwidth(float w);

}  // namespace vorn
