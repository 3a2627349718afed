// The rule that turns a normalised bandwidth into the coefficient of a first-order
// exponential smoothing filter. The owning module keeps the filter's state and
// performs the update itself: new = (input - state) * coeff + state.
#pragma once

#include <array>
#include <cstdint>

#include "math/numeric.h"

namespace vorn {

// Coefficients from normalised bandwidths w (bandwidth / half the sampling
// frequency, callers clamp to <= 1): s = sin(w * pi/2), q = s^2,
// t = sqrt(q^2 + q), coeff = 1 exactly when w == 1, else (t - q) + (t - q).
void setCoeffFromBandwidth(Vec3& coeff, const Vec3& w);

// The same rule for one element.
float coeffFromBandwidth(float w);

}  // namespace vorn
