// The library's single-precision functions. The exact ones work in binary64 without a
// fused multiply-add: a float's square fits a double exactly, and Dekker's product gives
// the rest of a longer one as a second double, so every result is the exact value rounded
// once. The transcendental ones are the C library's float overloads for now.
#include "math/f32.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace vorn::f32 {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr double kTwoPow128 = 0x1p128;  // where the float after FLT_MAX would lie

// a * b == product + error exactly (Dekker): each factor split into two halves of at most
// 26 significant bits whose partial products are exact in binary64.
struct Product {
    double product, error;
};
Product exactProduct(double a, double b) {
    constexpr double kSplitter = 134217729.0;  // 2^27 + 1
    const double ca = kSplitter * a, cb = kSplitter * b;
    const double aHigh = ca - (ca - a), aLow = a - aHigh;
    const double bHigh = cb - (cb - b), bLow = b - bHigh;
    const double p = a * b;
    return {p, ((aHigh * bHigh - p) + aHigh * bLow + aLow * bHigh) + aLow * bLow};
}

// A float's value as a double, with 2^128 standing for infinity.
double asDouble(float value) {
    return value == kInfinity ? kTwoPow128 : static_cast<double>(value);
}

// high + low rounded once to float, where |low| is at most half an ulp of the double high
// (as an exact product's error is). Rounding high alone is right unless high lies exactly
// half-way between two floats; then low's sign decides, and without low the tie goes to
// the even one, as the conversion already did.
float nearest(double high, double low) {
    if (!(high - high == 0.0)) return static_cast<float>(high);  // NaN or infinite
    const bool negative = std::signbit(high);
    const double magnitude = negative ? -high : high, rest = negative ? -low : low;
    float result = static_cast<float>(magnitude);
    const double off = magnitude - asDouble(result);  // exact: the two are within an ulp
    if (off != 0.0 && rest != 0.0 && (rest > 0.0) == (off > 0.0) &&
        !(result == kInfinity && off > 0.0)) {
        const uint32_t bits = std::bit_cast<uint32_t>(result);
        const float other = std::bit_cast<float>(off > 0.0 ? bits + 1 : bits - 1);
        if (2.0 * std::fabs(off) == std::fabs(asDouble(other) - asDouble(result))) result = other;
    }
    return negative ? -result : result;
}

}  // namespace

float log(float x) {
    return std::log(x);
}
float log10(float x) {
    return std::log10(x);
}
float exp(float x) {
    return std::exp(x);
}
float pow(float x, float y) {
    return std::pow(x, y);
}
float sin(float x) {
    return std::sin(x);
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
    const Product p = exactProduct(d * d, d);  // d * d is exact
    return nearest(p.product, p.error);
}

float fourth(float x) {
    const double square = static_cast<double>(x) * x;  // exact
    const Product p = exactProduct(square, square);
    return nearest(p.product, p.error);
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
