// The single-precision elementary functions the library computes with, in one place:
// each returns its result and takes the float overload of the C library, never a
// double one, so that every caller rounds alike and a port can swap them together.
#pragma once

#include <cmath>

namespace vorn::f32 {

inline float log(float x) { return std::log(x); }
inline float log10(float x) { return std::log10(x); }
inline float exp(float x) { return std::exp(x); }
inline float pow(float x, float y) { return std::pow(x, y); }
inline float sqrt(float x) { return std::sqrt(x); }
inline float sin(float x) { return std::sin(x); }

}  // namespace vorn::f32
