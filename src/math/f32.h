// The single-precision elementary functions the library computes with, in one place:
// each returns its result and calls the float overload of the C library, never a
// double one, so that every caller rounds alike and a port can swap them together.
// They are defined out of line on purpose: inlined, the compiler would evaluate calls
// with constant arguments itself, correctly rounded, where the C library may differ
// by an ulp, and the same expression would give different bits in different places.
#pragma once

namespace vorn::f32 {

float log(float x);
float log10(float x);
float exp(float x);
float pow(float x, float y);
float sqrt(float x);
float sin(float x);

}  // namespace vorn::f32
