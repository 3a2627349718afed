// The library's single-precision functions, all its own: the exact ones work in binary64
// without a fused multiply-add (a float's square fits a double exactly, and an exact
// product gives the rest of a longer one as a second double), so every result is the
// exact value rounded once; the transcendental ones are in math/elementary.
#include "math/fp_rules.h"

#include "math/f32.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "math/elementary.h"
#include "math/two_double.h"

namespace vorn::f32 {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
}  // namespace

float log(float x) {
    return elementary::log(x);
}
float log10(float x) {
    return elementary::log10(x);
}
float exp(float x) {
    return elementary::exp(x);
}
float exp10(float x) {
    return elementary::exp10(x);
}
float sin(float x) {
    return elementary::sin(x);
}

// Newton's iteration in binary64 comes within a few double ulps of the root; the float it
// rounds to is then off by at most one, which the squares of the two neighbouring
// midpoints (26 bits each, so exact in binary64) settle. No root of a float is exactly
// a midpoint, so there are no ties.
float sqrt(float x) {
    if (x != x || x == 0.0f || x == kInfinity) return x;  // NaN, zeros and +infinity
    if (x < 0.0f) return std::numeric_limits<float>::quiet_NaN();
    const double d = x;
    double y = std::bit_cast<double>((std::bit_cast<uint64_t>(d) >> 1) + 0x1FF8000000000000ull);
    for (int i = 0; i < 6; ++i) y = 0.5 * (y + d / y);
    float root = static_cast<float>(y);
    const uint32_t bits = std::bit_cast<uint32_t>(root);
    const double below = (static_cast<double>(std::bit_cast<float>(bits - 1)) + root) * 0.5;
    const double above = (static_cast<double>(std::bit_cast<float>(bits + 1)) + root) * 0.5;
    if (d < below * below) root = std::bit_cast<float>(bits - 1);
    if (d > above * above) root = std::bit_cast<float>(bits + 1);
    return root;
}

float cube(float x) {
    const double d = x;
    const TwoDouble p = exactProduct(d * d, d);  // d * d is exact
    return roundToFloat(p.hi, p.lo);
}

float fourth(float x) {
    const double square = static_cast<double>(x) * x;  // exact
    const TwoDouble p = exactProduct(square, square);
    return roundToFloat(p.hi, p.lo);
}

float round(float x) {
    const float magnitude = std::fabs(x);
    if (!(magnitude < 8388608.0f)) return x;  // 2^23 and above are integral; NaN
    float whole = static_cast<float>(static_cast<int32_t>(magnitude));
    if (magnitude - whole >= 0.5f) whole += 1.0f;  // the difference is exact
    return std::copysign(whole, x);
}

float max(float x, float y) {
    return x >= y || y != y ? x : y;
}

float min(float x, float y) {
    return x <= y || y != y ? x : y;
}

}  // namespace vorn::f32
