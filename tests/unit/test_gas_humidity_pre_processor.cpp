// Gas humidity pre-processor: seeding with the floored log resistance and
// per-element smoothing.
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

}  // namespace
}  // namespace vorn
