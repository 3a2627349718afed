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
    // The last case lies 123 ns past 3 s: the square is taken in double precision, so
    // it differs from the square of the single-precision time (which gives 0xBD847CB4).
    const std::array<uint16_t, 8> intervals = {300, 30000, 100, 300, 1800, 6000, 3000, 300};
    const std::array<int64_t, 8> since = {3 * kSecond,  300 * kSecond,    kSecond,
                                          3 * kSecond,  18 * kSecond,     60 * kSecond,
                                          30 * kSecond, 3 * kSecond + 123};
    const std::array<float, 8> temperature = {0, 0, 0, 25, 25, 25, 25, 0};  // offset 0.5 at 25
    const std::array<uint32_t, 8> bits = {0xBD847CB6,
                                          0xB99F9E32,
                                          0xC0268903,
                                          0x41C37B83,
                                          std::bit_cast<uint32_t>(21.5f),
                                          std::bit_cast<uint32_t>(24.5f),
                                          std::bit_cast<uint32_t>(24.5f),
                                          0xBD847CB5};
    for (std::size_t i = 0; i < intervals.size(); ++i) {
        SensorHeatCompensator comp;
        const float offset = temperature[i] == 0.0f ? 0.0f : 0.5f;
        const float first = comp.step(kGas, kGas, intervals[i], temperature[i], offset);
        EXPECT_EQ(first, temperature[i] - (intervals[i] == 1800 ? 3.0f : 0.0f) - offset);
        const float out =
            comp.step(kNoTimestamp, kGas + since[i], intervals[i], temperature[i], offset);
        EXPECT_EQ(std::bit_cast<uint32_t>(out), bits[i]) << intervals[i] << ": " << out;
    }
}

// (temperature - term) - offset, in that order: the other grouping differs in the
// last bit here (0x428B3982).
TEST(HeatCompensator, OffsetIsSubtractedAfterTheTerm) {
    SensorHeatCompensator comp;
    const float temperature = std::bit_cast<float>(0x428FADD1u);  // 71.839485
    const float offset = std::bit_cast<float>(0xBF45D83Fu);       // -0.7728309
    EXPECT_EQ(std::bit_cast<uint32_t>(comp.step(kGas, kGas, 1800, temperature, offset)),
              0x428B3981u);
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
