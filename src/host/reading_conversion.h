// Conversion of the host's float readings to the integers the integration loop
// keeps. The host truncates every reading before the library sees it; a plain
// cast of a NaN or out-of-range float is undefined behaviour, so these functions
// define every input: NaN gives 0 and values beyond the target range saturate.
// A set with a non-finite reading is refused before any conversion (allFinite):
// NaN would otherwise become 0 degrees and be learnt from.
#pragma once

#include <cstdint>

namespace vorn::host {

// 2^31 and 2^32 are exact in f32; every f32 strictly between the bounds truncates
// into range.
inline constexpr float kTwoPow31 = 2147483648.0f;
inline constexpr float kTwoPow32 = 4294967296.0f;

constexpr bool isFinite(float value) {
    return value == value && value - value == 0.0f;  // NaN != NaN; inf - inf is NaN
}

constexpr bool allFinite(float temperature, float pressure, float humidity, float gas) {
    return isFinite(temperature) && isFinite(pressure) && isFinite(humidity) && isFinite(gas);
}

// Truncation toward zero to int32, saturating; NaN gives 0.
constexpr int32_t truncateToInt32(float value) {
    if (!(value == value)) return 0;
    if (value >= kTwoPow31) return INT32_MAX;
    if (value <= -kTwoPow31) return INT32_MIN;
    return static_cast<int32_t>(value);
}

// Truncation toward zero to uint32: negative values and NaN give 0, values of
// 2^32 and above saturate.
constexpr uint32_t truncateToUint32(float value) {
    if (!(value > 0.0f)) return 0;
    if (value >= kTwoPow32) return UINT32_MAX;
    return static_cast<uint32_t>(value);
}

// The host keeps temperature as the low 16 bits of the truncated int32, read as a
// signed value (so 40000.0 becomes -25536).
constexpr int16_t truncateTemperature(float celsius) {
    const auto low = static_cast<uint16_t>(static_cast<uint32_t>(truncateToInt32(celsius)));
    return static_cast<int16_t>(low);
}

}  // namespace vorn::host
