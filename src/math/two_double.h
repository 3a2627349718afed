// Unevaluated sums of two doubles, for results that must be rounded to float only once:
// the exact sum and product of doubles (Knuth's and Dekker's algorithms, which need
// round-to-nearest binary64 and no fused multiply-add), and the one rounding to float.
#pragma once

// Every binary64 operation here must be rounded exactly once, and never fused.
#include "math/fp_rules.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace vorn {

struct TwoDouble {
    double hi, lo;
};

// a + b == hi + lo exactly, whatever their magnitudes.
inline TwoDouble twoSum(double a, double b) {
    const double s = a + b, bb = s - a;
    return {s, (a - (s - bb)) + (b - bb)};
}

// The same when |a| >= |b| (or a is zero): fewer operations.
inline TwoDouble fastTwoSum(double a, double b) {
    const double s = a + b;
    return {s, b - (s - a)};
}

// a * b == hi + lo exactly, for |a|, |b| below 2^995 and a product that does not
// underflow: each factor split into halves of at most 26 bits whose products are exact.
inline TwoDouble exactProduct(double a, double b) {
    constexpr double kSplitter = 134217729.0;  // 2^27 + 1
    const double ca = kSplitter * a, cb = kSplitter * b;
    const double aHigh = ca - (ca - a), aLow = a - aHigh;
    const double bHigh = cb - (cb - b), bLow = b - bHigh;
    const double p = a * b;
    return {p, ((aHigh * bHigh - p) + aHigh * bLow + aLow * bHigh) + aLow * bLow};
}

namespace detail {

inline constexpr float kInfinity = std::numeric_limits<float>::infinity();

// A float's value as a double, with 2^128 standing for infinity (the float after FLT_MAX
// were the exponent range one wider), so that overflow rounds like any other step.
inline double asDouble(float value) {
    return value == kInfinity ? 0x1p128 : static_cast<double>(value);
}
}  // namespace detail

// hi + lo rounded to the nearest float (ties to even), where |lo| is at most half an ulp
// of the double hi, as the functions above leave it. Rounding hi alone is right unless hi
// lies exactly half-way between two floats: lo cannot carry the sum across a half-way
// point that hi is not on. On one, lo's sign decides; without lo the tie goes to the even
// float, as the conversion already did.
inline float roundToFloat(double hi, double lo) {
    if (!(hi - hi == 0.0)) return static_cast<float>(hi);  // NaN or infinite
    const bool negative = std::signbit(hi);
    const double magnitude = negative ? -hi : hi, rest = negative ? -lo : lo;
    float result = static_cast<float>(magnitude);
    const double off = magnitude - detail::asDouble(result);  // exact: the two are within an ulp
    if (off != 0.0 && rest != 0.0 && (rest > 0.0) == (off > 0.0) &&
        !(result == detail::kInfinity && off > 0.0)) {
        const uint32_t bits = std::bit_cast<uint32_t>(result);
        const float other = std::bit_cast<float>(off > 0.0 ? bits + 1 : bits - 1);
        if (2.0 * std::fabs(off) == std::fabs(detail::asDouble(other) - detail::asDouble(result)))
            result = other;
    }
    return negative ? -result : result;
}

}  // namespace vorn
