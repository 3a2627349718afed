// Numeric helpers shared by the modules, the subscription and the scheduler: the
// half-away-from-zero rounding rule, relative-humidity conversion between two
// temperatures and the first-order polynomial. Single precision throughout except
// roundd.
#pragma once

#include <array>
#include <cstdint>

namespace vorn {

using Vec3 = std::array<float, 3>;

// Round to nearest, halves away from zero, in double precision. Values of
// magnitude 2^52 or more and NaN come back unchanged; (-0.5, 0.5) gives +0.0.
double roundd(double x);

// Relative humidity (%) at temperature t2 of air that has relative humidity rh (%)
// at temperature t1 (degrees Celsius), keeping the dew point. Result in [0, 100];
// NaN results become 0.
float convertHumidity(float t1, float t2, float rh);

// p[0] * x + p[1]: product rounded to float, then the sum (never fused).
float polyval(const std::array<float, 2>& p, float x);

}  // namespace vorn
