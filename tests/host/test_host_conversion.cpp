// Truncation of host readings: every float, including NaN, infinities and values
// far outside the integer range, converts without undefined behaviour (the
// sanitizer build runs these) to the integer the host keeps.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "host/reading_conversion.h"

namespace {

using vorn::host::truncateTemperature;
using vorn::host::truncateToUint32;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

struct TemperatureCase {
    float celsius;
    int16_t expected;
};

class TemperatureTruncation : public ::testing::TestWithParam<TemperatureCase> {};

TEST_P(TemperatureTruncation, KeepsLowSixteenBitsOfTheTruncatedValue) {
    EXPECT_EQ(truncateTemperature(GetParam().celsius), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Readings, TemperatureTruncation,
    ::testing::Values(TemperatureCase{23.9f, 23}, TemperatureCase{-0.5f, 0},
                      TemperatureCase{-23.9f, -23}, TemperatureCase{32767.9f, 32767},
                      // Beyond 16 bits the value wraps, it does not saturate.
                      TemperatureCase{32768.0f, -32768}, TemperatureCase{40000.0f, -25536},
                      TemperatureCase{65536.0f, 0}, TemperatureCase{-32769.0f, 32767},
                      // Beyond 32 bits the int32 saturates first: 0x7FFFFFFF, 0x80000000.
                      TemperatureCase{3e9f, -1}, TemperatureCase{kInf, -1},
                      TemperatureCase{-3e9f, 0}, TemperatureCase{-kInf, 0},
                      TemperatureCase{kNaN, 0}));

struct UnsignedCase {
    float value;
    uint32_t expected;
};

class UnsignedTruncation : public ::testing::TestWithParam<UnsignedCase> {};

TEST_P(UnsignedTruncation, TruncatesClampsAndMapsNaNToZero) {
    EXPECT_EQ(truncateToUint32(GetParam().value), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Readings, UnsignedTruncation,
                         ::testing::Values(UnsignedCase{101325.7f, 101325u},
                                           UnsignedCase{0.99f, 0u}, UnsignedCase{-0.5f, 0u},
                                           UnsignedCase{-1e30f, 0u}, UnsignedCase{-kInf, 0u},
                                           UnsignedCase{kNaN, 0u}, UnsignedCase{-kNaN, 0u},
                                           // The largest f32 below 2^32 still converts exactly.
                                           UnsignedCase{4294967040.0f, 4294967040u},
                                           UnsignedCase{4294967296.0f, UINT32_MAX},
                                           UnsignedCase{1e20f, UINT32_MAX},
                                           UnsignedCase{kInf, UINT32_MAX}));

}  // namespace
