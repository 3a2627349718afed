// Humidity temperature corrector: the seeded and smoothed chip temperature, humidity
// clamping and correction.
#include <gtest/gtest.h>

#include <array>

#include "modules/humidity_temperature_corrector.h"
#include "vorn/vorn.h"

namespace vorn {
namespace {

TEST(HumidityCorrector, ClampsCorrectsAndConvertsFromTheSmoothedTemperature) {
    // Seeded step at equal temperatures: the clamped, corrected raw humidity.
    const std::array<float, 6> raw = {50, 0, -5, 150, 50, 80};
    const std::array<float, 6> p0 = {0, 0, 0, 0, 0.01f, 0.5f};  // p1 = -1 with p0 = 0.01
    const std::array<float, 6> expected = {50, 0.0001f, 0.0001f, 100, 49.5f, 100};
    for (std::size_t i = 0; i < raw.size(); ++i) {
        HumidityTemperatureCorrector corrector;
        corrector.settings.humidityPoly = {p0[i], p0[i] == 0.01f ? -1.0f : 0.0f};
        EXPECT_NEAR(corrector.step(21.0f, 21.0f, raw[i]), expected[i], expected[i] * 1e-5f);
    }

    HumidityTemperatureCorrector corrector;
    corrector.setInterval(300);
    corrector.step(20.0f, 20.0f, 50.0f);
    // Smoothed 20 + (30 - 20) * 0.212671; the raw 30 C would give about 80 percent.
    EXPECT_NEAR(corrector.step(30.0f, 22.12671f, 50.0f), 50.0f, 1e-3);
    EXPECT_GT(corrector.step(22.12671f, 15.0f, 50.0f), 70.0f);  // cooler: wetter
    EXPECT_EQ(corrector.step(22.12671f, 0.0f, 80.0f), 100.0f);  // below the dew point
}

}  // namespace
}  // namespace vorn
