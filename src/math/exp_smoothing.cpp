// Bandwidth-to-coefficient rule of the first-order exponential smoother: the
// coefficient places the filter's -3 dB point at the given normalised frequency.
// Single precision, element by element.
#include "math/fp_rules.h"

#include "math/exp_smoothing.h"

#include "math/f32.h"

namespace vorn {

namespace {

constexpr float kHalfPi = 1.5707964f;  // pi / 2 rounded to single precision
constexpr float kNoSmoothing = 1.0f;   // a bandwidth of half the sampling rate

}  // namespace

float coeffFromBandwidth(float w) {
    // The formula gives 2(sqrt(2) - 1) at w = 1, but a bandwidth at the Nyquist limit
    // means no smoothing at all.
    if (w == kNoSmoothing) return kNoSmoothing;
    const float s = f32::sin(w * kHalfPi);
    const float q = s * s;
    const float t = f32::sqrt(q * q + q);
    return (t - q) + (t - q);
}

void setCoeffFromBandwidth(Vec3& coeff, const Vec3& w) {
    for (std::size_t i = 0; i < coeff.size(); ++i) coeff[i] = coeffFromBandwidth(w[i]);
}

}  // namespace vorn
