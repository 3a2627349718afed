// Bandwidth-to-coefficient rule of the first-order exponential smoother: the
// coefficient places the filter's -3 dB point at the given normalised frequency.
// Single precision, evaluated through the three-element helpers.
#include "math/exp_smoothing.h"

namespace vorn {

namespace {

constexpr float kHalfPi = 1.5707964f;  // pi / 2 rounded to single precision
constexpr float kNoSmoothing = 1.0f;   // a bandwidth of half the sampling rate
constexpr std::size_t kElements = 3;

}  // namespace

void setCoeffFromBandwidth(Vec3& coeff, const Vec3& w) {
    Vec3 q{};
    for (std::size_t i = 0; i < kElements; ++i) {
        q[i] = w[i] * kHalfPi;
    }
    sin(q);
    for (float& element : q) {
        element = element * element;
    }
    Vec3 t{};
    for (std::size_t i = 0; i < kElements; ++i) {
        t[i] = q[i] * q[i] + q[i];
    }
    sqrt(t);
    for (std::size_t i = 0; i < kElements; ++i) {
        // The formula gives 2(sqrt(2) - 1) at w = 1, but a bandwidth at the Nyquist limit
        // means no smoothing at all.
        coeff[i] = (w[i] == kNoSmoothing) ? kNoSmoothing : (t[i] - q[i]) + (t[i] - q[i]);
    }
}

float coeffFromBandwidth(float w) {
    Vec3 coeff{};
    setCoeffFromBandwidth(coeff, Vec3{w, w, w});
    return coeff[0];
}

}  // namespace vorn
