// The single-precision functions the library computes with, in one place, so that every
// caller rounds alike. The exact ones (square root, integer powers, rounding, minimum and
// maximum) are the library's own, correctly rounded in plain IEEE arithmetic, and give the
// same bits on every platform; the transcendental ones still call the C library's float
// overloads. All are out of line: inlined, the compiler would fold calls with constant
// arguments itself, and the same expression could give different bits in different places.
#pragma once

namespace vorn::f32 {

float log(float x);
float log10(float x);
float exp(float x);
float pow(float x, float y);
float sin(float x);

// Correctly rounded (to nearest, ties to even); sqrt of a negative number is NaN and of
// -0 is -0, as the C standard has it.
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
