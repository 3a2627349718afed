// The library's own correctly rounded exponential, logarithms and sine in single precision:
// evaluated in binary64, the last steps as an unevaluated sum of two doubles, to within
// about 2^-70 of the exact value, then rounded once. Plain IEEE arithmetic without a fused
// multiply-add or the C library, so every platform gives the same bits; the constants come
// from scripts/gen_elementary_tables.py. scripts/check_math proves each one against MPFR.
#pragma once

namespace vorn::elementary {

// As the C standard has them for float: NaN for NaN and for a negative argument of a
// logarithm, -infinity at zero, infinities and zero at overflow and underflow.
float exp(float x);
float exp10(float x);  // 10^x
float log(float x);
float log10(float x);
float sin(float x);  // NaN for infinities

}  // namespace vorn::elementary
