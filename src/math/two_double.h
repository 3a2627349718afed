// Unevaluated sums of two doubles, for results that must be rounded to float only once:
// the exact sum and product of doubles (Knuth's and Dekker's algorithms, which need
// round-to-nearest binary64 and no fused multiply-add), and the one rounding to float.
#pragma once

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
TwoDouble exactProduct(double a, double b);

// hi + lo rounded to the nearest float (ties to even), where |lo| is at most half an ulp
// of the double hi, as the two functions above and exactProduct leave it.
float roundToFloat(double hi, double lo);

}  // namespace vorn
