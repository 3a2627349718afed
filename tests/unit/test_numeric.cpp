// Rounding, humidity conversion, the unfused polynomial and the bandwidth-to-
// coefficient rule: the places where a plausible shortcut (naive rounding, a
// fused multiply-add, a tolerance on w == 1) silently changes library outputs.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "math/exp_smoothing.h"
#include "math/numeric.h"

namespace {

using vorn::Vec3;

struct RoundCase {
    double in;
    double out;
};

class RounddTest : public ::testing::TestWithParam<RoundCase> {};

TEST_P(RounddTest, HalvesAwayFromZeroAndHugeValuesUnchanged) {
    const RoundCase c = GetParam();
    const double r = vorn::roundd(c.in);
    EXPECT_EQ(r, c.out) << c.in;
    EXPECT_EQ(std::signbit(r), std::signbit(c.out)) << "sign of zero for " << c.in;
}

INSTANTIATE_TEST_SUITE_P(
    Table, RounddTest,
    ::testing::Values(RoundCase{2.5, 3.0}, RoundCase{-2.5, -3.0}, RoundCase{0.5, 1.0},
                      RoundCase{-0.5, -1.0}, RoundCase{1.4999999999999998, 1.0},
                      // x + 0.5 rounds up to 1.0 in double: a naive floor(x + 0.5) gives 1.
                      RoundCase{0.49999999999999994, 0.0}, RoundCase{0.49999, 0.0},
                      RoundCase{-0.4, 0.0}, RoundCase{-0.0, 0.0},
                      RoundCase{300.0 / 0.9999999, 300.0},  // a rate of "1 Hz" seen as 300
                      RoundCase{4503599627370495.5, 4503599627370496.0},
                      RoundCase{4503599627370497.0, 4503599627370497.0},
                      RoundCase{-4503599627370497.0, -4503599627370497.0}, RoundCase{1e300, 1e300},
                      RoundCase{std::numeric_limits<double>::infinity(),
                                std::numeric_limits<double>::infinity()}));

TEST(Roundd, NanStaysNan) {
    EXPECT_TRUE(std::isnan(vorn::roundd(std::nan(""))));
}

// Double-precision Magnus conversion, the reference for the float implementation.
double referenceHumidity(double t1, double t2, double rh) {
    const double beta = 17.62;
    const double lambda = 243.12;
    const double f = rh < 0.0 ? 0.0 : (rh > 100.0 ? 1.0 : rh / 100.0);
    const double g1 = beta * t1 / (t1 + lambda) + std::log(f);
    const double d = g1 * lambda / (beta - g1);
    const double r = std::exp(beta * d / (d + lambda) - beta * t2 / (t2 + lambda)) * 100.0;
    return r > 100.0 ? 100.0 : (r > 0.0 ? r : 0.0);
}

TEST(ConvertHumidity, FollowsTheDewPointWithinFloatRounding) {
    for (float t1 = -20.0f; t1 <= 60.0f; t1 += 10.0f) {
        for (float t2 = -20.0f; t2 <= 60.0f; t2 += 5.0f) {
            for (float rh = 5.0f; rh <= 100.0f; rh += 15.0f) {
                const double expected = referenceHumidity(t1, t2, rh);
                EXPECT_NEAR(vorn::convertHumidity(t1, t2, rh), expected, 1e-5 * expected + 1e-6)
                    << t1 << " " << t2 << " " << rh;
            }
        }
    }
}

TEST(ConvertHumidity, SaturatesAndClampsItsInput) {
    // Cooling saturated air below its dew point condenses: reported as 100.
    EXPECT_EQ(vorn::convertHumidity(20.0f, 10.0f, 100.0f), 100.0f);
    EXPECT_EQ(vorn::convertHumidity(30.0f, 0.0f, 60.0f), 100.0f);
    // Above 100 % counts as saturated air at t1.
    EXPECT_EQ(vorn::convertHumidity(20.0f, 30.0f, 150.0f),
              vorn::convertHumidity(20.0f, 30.0f, 100.0f));
    // No water: the logarithm is -inf and the result is 0, never NaN.
    for (float rh : {0.0f, -0.0f, -5.0f, std::numeric_limits<float>::quiet_NaN()}) {
        EXPECT_EQ(vorn::convertHumidity(20.0f, 30.0f, rh), 0.0f) << rh;
    }
}

TEST(Polyval, ProductIsRoundedBeforeTheSum) {
    // (1 + 2^-12)^2 = 1 + 2^-11 + 2^-24 rounds to 1 + 2^-11 in float; a fused
    // multiply-add would keep the 2^-24 and return it instead of 0.
    const float a = 1.0f + std::ldexp(1.0f, -12);
    const std::array<float, 2> p{a, -(1.0f + std::ldexp(1.0f, -11))};
    EXPECT_EQ(vorn::polyval(p, a), 0.0f);
    EXPECT_EQ(vorn::polyval({0.0f, 0.0f}, 1e30f), 0.0f);
    EXPECT_EQ(vorn::polyval({2.0f, 1.0f}, 3.0f), 7.0f);
}

struct CoeffCase {
    const char* what;
    float w;
    float coeff;
    float tolerance;
};

class CoeffFromBandwidth : public ::testing::TestWithParam<CoeffCase> {};

TEST_P(CoeffFromBandwidth, MatchesKnownCoefficients) {
    const CoeffCase c = GetParam();
    EXPECT_NEAR(vorn::coeffFromBandwidth(c.w), c.coeff, c.tolerance) << c.what;
}

// Bandwidths as the modules form them: bandwidth / ((100 / interval) * 0.5).
float normalised(float bandwidth, float interval) {
    const float w = bandwidth / ((100.0f / interval) * 0.5f);
    return w > 1.0f ? 1.0f : w;
}

INSTANTIATE_TEST_SUITE_P(
    Table, CoeffFromBandwidth,
    ::testing::Values(CoeffCase{"w 0.5", 0.5f, 0.7320508f, 1e-7f},
                      CoeffCase{"w 0.12", 0.12f, 0.3110617f, 1e-7f},
                      CoeffCase{"w 0.015", 0.015f, 0.046022f, 1e-6f},
                      CoeffCase{"gas at 100", normalised(0.02f, 100), 0.117943f, 1e-6f},
                      CoeffCase{"gas at 300", normalised(0.02f, 300), 0.311062f, 1e-6f},
                      CoeffCase{"gas at 1800", normalised(0.02f, 1800), 0.803069f, 1e-6f},
                      CoeffCase{"humidity at 100", normalised(0.0025f, 100), 0.015585f, 1e-6f},
                      CoeffCase{"humidity at 6000", normalised(0.0025f, 6000), 0.584957f, 1e-6f},
                      CoeffCase{"temperature at 300", normalised(0.012746f, 300), 0.212671f, 1e-6f},
                      CoeffCase{"temperature at 1800", normalised(0.012746f, 1800), 0.71036f,
                                1e-5f}));

TEST(SetCoeffFromBandwidth, ExactEndPoints) {
    Vec3 coeff{-1.0f, -1.0f, -1.0f};
    vorn::setCoeffFromBandwidth(coeff, {1.0f, 1.0f, 1.0f});
    EXPECT_EQ(coeff, (Vec3{1.0f, 1.0f, 1.0f}));
    vorn::setCoeffFromBandwidth(coeff, {0.0f, 0.0f, 0.0f});
    EXPECT_EQ(coeff, (Vec3{0.0f, 0.0f, 0.0f}));
    // Only w == 1 means "no smoothing"; just below it the formula applies (about 0.83).
    const float below = std::nextafter(1.0f, 0.0f);
    EXPECT_NEAR(vorn::coeffFromBandwidth(below), 0.8284271f, 1e-6f);
}

TEST(SetCoeffFromBandwidth, ElementsAreIndependentAndMatchTheScalarForm) {
    for (float w = 0.0f; w <= 1.0f; w += 0.0625f) {
        const Vec3 mixed{w, 1.0f - w, 0.5f};
        Vec3 coeff{};
        vorn::setCoeffFromBandwidth(coeff, mixed);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(coeff[i], vorn::coeffFromBandwidth(mixed[i])) << w << " element " << i;
        }
    }
}

TEST(SetCoeffFromBandwidth, GrowsWithTheBandwidth) {
    float previous = 0.0f;
    for (int step = 1; step < 1000; ++step) {
        const float coeff = vorn::coeffFromBandwidth(static_cast<float>(step) / 1000.0f);
        ASSERT_GT(coeff, previous) << step;
        ASSERT_LT(coeff, 1.0f) << step;
        previous = coeff;
    }
}

}  // namespace
