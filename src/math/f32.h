// The single-precision functions the library computes with, in one place: its own,
// correctly rounded in plain IEEE arithmetic, so that every platform gives the same bits
// and nothing comes from the C maths library. Out of line on purpose: inlined, the
// compiler would fold calls with constant arguments itself, possibly differently.
#pragma once

namespace vorn::f32 {

// All correctly rounded (to nearest, ties to even), with the C standard's special values:
// NaN for NaN, for a negative argument of a logarithm or the square root and for sin of
// an infinity, -infinity for a logarithm of zero, sqrt(-0) = -0.
float log(float x);
float log10(float x);
float exp(float x);
float exp10(float x);  // 10^x
float sin(float x);
float sqrt(float x);
float cube(float x);    // x * x * x rounded once
float fourth(float x);  // x^4 rounded once

// Halves away from zero; NaN, infinities and integral values come back unchanged.
float round(float x);
// The C library's fmaxf and fminf: a NaN argument yields the other one; otherwise the
// first argument unless the second is strictly greater (smaller), so that the sign of
// a zero result follows the first argument.
float max(float x, float y);
float min(float x, float y);

}  // namespace vorn::f32
