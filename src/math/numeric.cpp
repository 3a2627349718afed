// Numeric helpers shared by the modules and the scheduler. Every routine keeps the
// exact single-precision evaluation order the outputs were tuned with; only the
// rounding rule works in double precision.
#include "math/fp_rules.h"

#include "math/numeric.h"

#include <cmath>
#include <cstdint>

#include "math/f32.h"

namespace vorn {

namespace {

// At 2^52 and above every double is an integer, so rounding has nothing to do.
constexpr double kTwoPow52 = 4503599627370496.0;

// Magnus formula constants over water (degrees Celsius).
constexpr float kMagnusBeta = 17.62f;
constexpr float kMagnusLambda = 243.12f;
constexpr float kPercent = 100.0f;

// beta * t / (t + lambda): the temperature term of the Magnus formula.
float magnusGamma(float t) {
    return kMagnusBeta * t / (t + kMagnusLambda);
}

// Relative humidity as a fraction in [0, 1]; out-of-range inputs saturate.
float humidityFraction(float rh) {
    if (rh < 0.0f) {
        return 0.0f;
    }
    if (rh > kPercent) {
        return 1.0f;
    }
    return rh / kPercent;
}

}  // namespace

double roundd(double x) {
    if (std::fabs(x) >= kTwoPow52 || std::isnan(x)) {
        return x;
    }
    // Below 2^52 in magnitude the conversion to an integer is exact and truncates, which
    // is floor for the positive case and ceil for the negative one.
    if (x >= 0.5) {
        return static_cast<double>(static_cast<int64_t>(x + 0.5));
    }
    if (x <= -0.5) {
        return static_cast<double>(static_cast<int64_t>(x - 0.5));
    }
    return 0.0;
}

float convertHumidity(float t1, float t2, float rh) {
    // The dew point of the air at t1 is kept; humidity at t2 follows from it.
    const float logFraction = f32::log(humidityFraction(rh));
    const float gamma1 = magnusGamma(t1);
    const float gamma2 = magnusGamma(t2);
    const float dewPoint =
        (gamma1 + logFraction) * kMagnusLambda / (kMagnusBeta - (gamma1 + logFraction));
    const float r =
        f32::exp(kMagnusBeta * dewPoint / (dewPoint + kMagnusLambda) - gamma2) * kPercent;
    if (r > kPercent) {
        return kPercent;
    }
    if (r > 0.0f) {
        return r;
    }
    return 0.0f;  // also NaN, e.g. from rh = 0 where the logarithm is -inf
}

float polyval(const std::array<float, 2>& p, float x) {
    const float product = p[0] * x;
    return product + p[1];
}

}  // namespace vorn
