// Gas humidity pre-processor: coefficients per interval, seeding with the floored
// log resistance, per-element smoothing, and its sections.
#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "modules/gas_humidity_pre_processor.h"
#include "vorn/vorn.h"

namespace vorn {
namespace {

Vec3 step(GasHumidityPreProcessor& pre, float gas, float temperature, float humidity) {
    Vec3 out{};
    pre.step(out[0], out[1], out[2], gas, temperature, humidity);
    return out;
}

TEST(PreProcessor, CoefficientsFollowTheInterval) {
    const std::array<uint16_t, 6> intervals = {100, 300, 1800, 6000, 30000, 65535};
    const std::array<Vec3, 6> expected = {{{0.117943f, 0.015585f, 0.015585f},
                                           {0.311062f, 0.046022f, 0.046022f},
                                           {0.803069f, 0.24488f, 0.24488f},
                                           {1.0f, 0.584957f, 0.584957f},
                                           {1.0f, 1.0f, 1.0f},
                                           {1.0f, 1.0f, 1.0f}}};
    for (std::size_t i = 0; i < intervals.size(); ++i) {
        GasHumidityPreProcessor pre;
        pre.setInterval(intervals[i]);
        for (std::size_t e = 0; e < 3; ++e) {
            EXPECT_NEAR(pre.derived.coeff[e], expected[i][e], 1e-6) << intervals[i];
        }
    }
}

TEST(PreProcessor, SeedsWithFlooredLogResistanceThenSmoothsEachElement) {
    for (const float ohms : {100000.0f, 10.0f, 5.0f, 0.0f, -3.0f, NAN}) {
        GasHumidityPreProcessor pre;
        EXPECT_EQ(step(pre, ohms, 21.5f, 40.0f),
                  (Vec3{ohms == 100000.0f ? 5.0f : 1.0f, 21.5f, 40.0f}))
            << ohms;
    }
    GasHumidityPreProcessor pre;
    pre.setInterval(300);
    step(pre, 100.0f, 20.0f, 50.0f);
    const Vec3 out = step(pre, 1000.0f, 30.0f, 40.0f);
    EXPECT_NEAR(out[0], 2.311062f, 1e-6);
    EXPECT_NEAR(out[1], 20.46022f, 1e-5);
    EXPECT_NEAR(out[2], 49.53978f, 1e-5);
    EXPECT_EQ(pre.learnt.smoothed, out);
}

TEST(PreProcessorSections, RestoredStateOfZeroReseeds) {
    GasHumidityPreProcessor pre;
    pre.derived.coeff = {0.5f, 0.5f, 0.5f};
    pre.learnt.smoothed = {4.0f, 22.0f, 55.0f};
    EXPECT_EQ(step(pre, 100000.0f, 30.0f, 45.0f), (Vec3{4.5f, 26.0f, 50.0f}));
    std::array<uint8_t, 16> state{16, 0, 3};  // a first element of 0.0 means "not seeded"
    ASSERT_EQ(importSection(pre, SectionKind::kState, state.data(), 16), RC_OK);
    EXPECT_EQ(step(pre, 100000.0f, 30.0f, 45.0f), (Vec3{5.0f, 30.0f, 45.0f}));
}

}  // namespace
}  // namespace vorn
