// Rounding, the unfused polynomial and the bandwidth-to-coefficient rule: where a
// plausible shortcut (floor(x + 0.5), a fused multiply-add, a tolerance on w == 1)
// silently changes library outputs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "math/exp_smoothing.h"
#include "math/numeric.h"

namespace {

TEST(Roundd, HalvesAwayFromZeroAndHugeValuesUnchanged) {
    constexpr double kInf = std::numeric_limits<double>::infinity();
    const std::pair<double, double> cases[] = {
        {2.5, 3.0},
        {0.5, 1.0},
        {-2.5, -3.0},
        {-2.4, -2.0},
        {-0.5, -1.0},
        {1.4999999999999998, 1.0},
        {0.49999999999999994, 0.0},  // x + 0.5 rounds up to 1.0 in double
        {-0.4, 0.0},
        {300.0 / 0.9999999, 300.0},
        {4503599627370495.5, 4503599627370496.0},
        {-4503599627370497.0, -4503599627370497.0},
        {1e300, 1e300},
        {kInf, kInf}};
    for (const auto& [in, out] : cases) {
        EXPECT_EQ(vorn::roundd(in), out) << in;
        EXPECT_EQ(std::signbit(vorn::roundd(in)), std::signbit(out)) << "sign of zero for " << in;
    }
    EXPECT_TRUE(std::isnan(vorn::roundd(std::nan(""))));
}

TEST(Polyval, ProductIsRoundedBeforeTheSum) {
    // (1 + 2^-12)^2 = 1 + 2^-11 + 2^-24 rounds to 1 + 2^-11 in float; an FMA keeps 2^-24.
    const float a = 1.0f + std::ldexp(1.0f, -12);
    EXPECT_EQ(vorn::polyval({a, -(1.0f + std::ldexp(1.0f, -11))}, a), 0.0f);
    EXPECT_EQ(vorn::polyval({2.0f, 1.0f}, 3.0f), 7.0f);
}

TEST(CoeffFromBandwidth, KnownCoefficientsAndExactEndPoints) {
    // Bandwidths as the modules form them: bandwidth / ((100 / interval) * 0.5).
    const auto w = [](float bandwidth, float interval) {
        return std::min(1.0f, bandwidth / ((100.0f / interval) * 0.5f));
    };
    const std::pair<float, float> cases[] = {{0.5f, 0.7320508f},
                                             {0.12f, 0.3110617f},
                                             {w(0.02f, 100), 0.117943f},
                                             {w(0.02f, 1800), 0.803069f},
                                             {w(0.0025f, 100), 0.015585f},
                                             {w(0.0025f, 6000), 0.584957f},
                                             {w(0.012746f, 300), 0.212671f},
                                             {std::nextafter(1.0f, 0.0f), 0.8284271f}};
    for (const auto& [bandwidth, coeff] : cases) {
        EXPECT_NEAR(vorn::coeffFromBandwidth(bandwidth), coeff, 1e-6f) << bandwidth;
    }
    vorn::Vec3 coeff{-1.0f, -1.0f, -1.0f};
    vorn::setCoeffFromBandwidth(coeff, {1.0f, 0.0f, 0.5f});  // elements are independent
    EXPECT_EQ(coeff, (vorn::Vec3{1.0f, 0.0f, vorn::coeffFromBandwidth(0.5f)}));
}

}  // namespace
