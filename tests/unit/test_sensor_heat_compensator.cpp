// Sensor heat compensator: the heating term by gas interval (exact single-precision
// figures), the gas reference across steps and extreme time stamps, and its sections.
#include <gtest/gtest.h>

#include <array>
#include <bit>

#include "identifiers/identifiers.h"
#include "modules/sensor_heat_compensator.h"
#include "vorn/vorn.h"

namespace vorn {
namespace {

constexpr int64_t kSecond = 1'000'000'000;
constexpr int64_t kGas = 500 * kSecond;

TEST(HeatCompensator, TermByGasIntervalInSinglePrecision) {
    // At temperature 0 the result is -h: (0.1101*3+0.1375)/(-0.738*3+9+0.4453) at 300,
    // (0.0737*300+5)/(-3.1914*300+90000+4.1036) at 30000. f64 rounds all three differently.
    const std::array<uint16_t, 7> intervals = {300, 30000, 100, 300, 1800, 6000, 3000};
    const std::array<int64_t, 7> since = {3, 300, 1, 3, 18, 60, 30};     // s after the gas step
    const std::array<float, 7> temperature = {0, 0, 0, 25, 25, 25, 25};  // offset 0.5 at 25
    const std::array<uint32_t, 7> bits = {0xBD847CB6,
                                          0xB99F9E32,
                                          0xC0268903,
                                          0x41C37B83,
                                          std::bit_cast<uint32_t>(21.5f),
                                          std::bit_cast<uint32_t>(24.5f),
                                          std::bit_cast<uint32_t>(24.5f)};
    for (std::size_t i = 0; i < intervals.size(); ++i) {
        SensorHeatCompensator comp;
        const float offset = temperature[i] == 0.0f ? 0.0f : 0.5f;
        const float first = comp.step(kGas, kGas, intervals[i], temperature[i], offset);
        EXPECT_EQ(first, temperature[i] - (intervals[i] == 1800 ? 3.0f : 0.0f) - offset);
        const float out = comp.step(kNoTimestamp, kGas + since[i] * kSecond, intervals[i],
                                    temperature[i], offset);
        EXPECT_EQ(std::bit_cast<uint32_t>(out), bits[i]) << intervals[i] << ": " << out;
    }
}

TEST(HeatCompensator, GasReferenceMovesAfterTheTermAndSurvivesExtremeStamps) {
    SensorHeatCompensator comp;
    SensorHeatCompensator reference;
    comp.step(kGas, kGas, 300, 25.0f, 0.0f);
    reference.step(kGas, kGas, 300, 25.0f, 0.0f);
    const float at3 = comp.step(kNoTimestamp, kGas + 3 * kSecond, 300, 25.0f, 0.0f);
    // A step with both samples measures from the previous gas step, then moves on.
    EXPECT_EQ(comp.step(kGas + 6 * kSecond, kGas + 6 * kSecond, 300, 25.0f, 0.0f),
              reference.step(kNoTimestamp, kGas + 6 * kSecond, 300, 25.0f, 0.0f));
    EXPECT_EQ(comp.step(kNoTimestamp, kGas + 9 * kSecond, 300, 25.0f, 0.0f), at3);

    // Distances beyond the int64 range make the term vanish instead of overflowing.
    const std::array<std::array<int64_t, 2>, 3> extremes = {
        {{INT64_MIN, INT64_MAX}, {INT64_MAX - 1, INT64_MIN}, {-1, INT64_MAX}}};
    for (const auto& [gas, temperature] : extremes) {
        comp.step(gas, gas, 300, 25.0f, 0.0f);
        EXPECT_NEAR(comp.step(kNoTimestamp, temperature, 300, 25.0f, 0.0f), 25.0f, 1e-5) << gas;
    }
}

}  // namespace
}  // namespace vorn
