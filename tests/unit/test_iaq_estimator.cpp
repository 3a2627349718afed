// IAQ estimator: derived slopes, the two indices, the linear and exponential
// estimates, progress blending and zero-width bands.
#include <gtest/gtest.h>

#include <limits>

#include "modules/iaq_estimator.h"
#include "vorn/vorn.h"

namespace vorn {
namespace {

constexpr BaselineBounds kBand{{5.0f, 5.0f}, {4.8f, 4.0f}, {3.0f, 1.0f}};

IaqResults run(IaqEstimator& e, float x, const BaselineBounds& b = kBand, float p = 1.0f) {
    IaqResults r{};
    e.step(b, r, x, p);
    return r;
}

TEST(IaqDerived, FollowTheIntervalAndConfiguration) {
    struct Case {
        uint16_t interval;
        float fixedSlope;
    };
    for (const Case c : {Case{300, 1160.8707f}, Case{100, 1014.2046f}, Case{1800, 1014.2046f},
                         Case{30000, 2028.4434f}, Case{500, 2028.4434f}}) {
        IaqEstimator e;
        e.setInterval(c.interval);
        EXPECT_EQ(e.derived.fixedSlope, c.fixedSlope);
        EXPECT_FLOAT_EQ(e.derived.expLogSlope, 0.0065649836f);
        EXPECT_FLOAT_EQ(e.derived.expLogIntercept, -0.46515465f);
        e.setInterval(65535);
        EXPECT_EQ(e.derived.fixedSlope, c.fixedSlope);
    }
}

// The band-scaled index runs from 25 at the upper bound to 500 at the lower, clamped; the
// fixed-scale index is the worked figure at interval 300 and 30000.
TEST(IaqIndices, WorkedFigures) {
    IaqEstimator e;
    e.setInterval(300);
    for (const auto& [x, index] :
         {std::pair{5.0f, 25.0f}, {4.8f, 250.0f}, {3.0f, 500.0f}, {5.5f, 0.0f}})
        EXPECT_FLOAT_EQ(run(e, x)[0].value, index) << x;
    EXPECT_EQ(run(e, 5.0f - 0.19382003f)[1].value, 249.99997f);
    e.setInterval(30000);
    EXPECT_EQ(run(e, 5.0f - 0.11092249f)[1].value, 249.99968f);
}

// With fixedSlope 1 and offset 0 the fixed-scale index is exactly -x (upper bound 0).
class IaqEstimates : public ::testing::Test {
protected:
    IaqEstimator e;
    void SetUp() override {
        e.setInterval(300);
        e.derived.fixedSlope = 1.0f;
        e.settings.indexOffset = 0;
    }
    IaqResults at(float fixedScale) {
        return run(e, -fixedScale, BaselineBounds{{0.0f, 0.0f}, {-1.0f, -1.0f}, {2.0f, 2.0f}});
    }
};

TEST_F(IaqEstimates, LinearHasTwoPiecesAndExponentialIsCapped) {
    struct Case {
        float index, linear, exponential;
    };
    for (const Case c : {Case{0.0f, 400.0f, 0.34264576f}, Case{25.0f, 500.0f, 0.49999994f},
                         Case{66.66f, 666.64f, 0.9385711f}, Case{66.67f, 666.7f, 0.93871295f},
                         Case{100.0f, 1000.0f, 1.5536162f}, Case{250.0f, 2500.0f, 15.000002f},
                         Case{500.0f, 5000.0f, 656.655f}, Case{1000.0f, 10000.0f, 1000.0f}}) {
        const IaqResults r = at(c.index);
        EXPECT_FLOAT_EQ(r[2].value, c.linear) << c.index;
        EXPECT_EQ(r[3].value, c.exponential) << c.index;
        EXPECT_EQ(r[3].accuracy, 2.0f);
    }
    e.settings.linearSlopeHigh = 1.0f;  // the knee does not follow the configuration
    EXPECT_EQ(at(100.0f)[2].value, 400.0f);
}

TEST(IaqBlending, RisingIndicesArePulledTowardTheHeldValues) {
    IaqEstimator e;
    e.setInterval(300);
    // Band 0..-225: the band-scaled index is 25 - x.
    const BaselineBounds wide{{0.0f, 0.0f}, {-225.0f, -225.0f}, {3.0f, 3.0f}};
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

    IaqResults r = run(e, -100.0f, wide, 0.5f);  // computed 125, held 25
    EXPECT_EQ(r[0].value, 50.0f);
    EXPECT_FLOAT_EQ(r[1].value, 18.75f + 0.25f * (100.0f * e.derived.fixedSlope + 25.0f));
    EXPECT_EQ(e.learnt.heldIndex, 25.0f);
    EXPECT_FLOAT_EQ(run(e, 5.0f, wide, 0.5f)[0].value, 20.0f);  // falling: unchanged

    // Each index compares with its own held value.
    e.learnt.heldFixedScaleIndex = 1.0e6f;
    r = run(e, -100.0f, wide, 0.5f);
    EXPECT_EQ(r[0].value, 50.0f);
    EXPECT_FLOAT_EQ(r[1].value, 100.0f * e.derived.fixedSlope + 25.0f);

    // Full progress (NaN counts as full) stores the held values, unblended.
    r = run(e, -100.0f, wide, kNaN);
    EXPECT_FLOAT_EQ(r[0].value, 125.0f);
    EXPECT_EQ(e.learnt.heldIndex, r[0].value);
    EXPECT_EQ(e.learnt.heldFixedScaleIndex, r[1].value);
    EXPECT_EQ(run(e, -200.0f, wide, 0.0f)[0].value, e.learnt.heldIndex);
}

TEST(IaqZeroWidthBand, GivesStepsNotNaN) {
    IaqEstimator e;
    e.setInterval(300);
    const BaselineBounds flat{{5.0f, 5.0f}, {5.0f, 5.0f}, {3.0f, 3.0f}};
    EXPECT_EQ(run(e, 5.0f, flat)[0].value, 25.0f);
    EXPECT_EQ(run(e, 4.9f, flat)[0].value, 500.0f);
    EXPECT_EQ(run(e, 5.1f, flat)[4].value, 0.0f);
    EXPECT_EQ(run(e, 4.9f, flat)[4].value, 100.0f);
}

}  // namespace
}  // namespace vorn
