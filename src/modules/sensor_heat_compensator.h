// Channel 9: corrects the chip temperature for the heat of the gas sensor's hot
// plate, a term that decays with the time since the last gas measurement and
// depends on the gas interval, and subtracts the caller's temperature offset.
//
// Decisions where the contract leaves room:
// - A configuration or state section shorter than its fields is refused with
//   RC_E_SECTION_SHORT and changes nothing.
// - The time since the last gas step is formed without signed overflow; where the
//   true difference exceeds the int64 range (only with hostile time stamps) it is
//   taken in double precision, so the heating term simply fades towards 0.
#pragma once

#include <array>
#include <cstdint>

namespace vorn {

struct SensorHeatCompensator {
    uint32_t channelId;           // 9
    std::array<float, 5> coeffA;  // by interval class 1..5
    std::array<float, 5> coeffC;
    std::array<float, 5> coeffB;
    std::array<float, 5> coeffD;
    int64_t prevGasTimestamp;  // ns; INT64_MAX = none
    float fixedCompensation;   // heating term at gas interval 1800 (C)

    static constexpr uint32_t kChannelId = 9;

    // h(t) = (A t + C) / (B t + t^2 + D) with t in s since the last gas step, by
    // interval class: 30000, 6000, (unused), 300, 100 (10 ms units).
    constexpr SensorHeatCompensator()
        : channelId(kChannelId),
          coeffA{0.0737f, 0.0f, 0.0f, 0.1101f, 1.6836f},
          coeffC{5.0f, 0.0f, 0.0f, 0.1375f, 0.1639f},
          coeffB{-3.1914f, 0.0f, 0.0f, -0.738f, 0.7509f},
          coeffD{4.1036f, 0.0f, 0.0f, 0.4453f, -1.0409f},
          prevGasTimestamp(INT64_MAX),
          fixedCompensation(3.0f) {}

    // Compensated temperature (temperature - heating term) - offset. gasTimestamp is
    // INT64_MAX when no gas sample was processed in this step, else it becomes the
    // reference of later steps; gasInterval is the baseline tracker's samplIntvl.
    // Intervals outside 30000, 6000, 1800, 300, 100 apply no heating term.
    float doStep(int64_t gasTimestamp, int64_t temperatureTimestamp, uint16_t gasInterval,
                 float temperature, float temperatureOffset);

    // Configuration: coeffA, coeffC, coeffB, coeffD (5 x f32 each), fixedCompensation;
    // 88 bytes with header. State: prevGasTimestamp (i64); 12 bytes with header.
    // Readers return RC_E_SECTION_SHORT or RC_E_SECTION_UNKNOWN and change nothing,
    // else RC_OK.
    uint32_t getConfiguration(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    uint32_t getState(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    int32_t configure(const uint8_t* section, uint32_t length);
    int32_t setState(const uint8_t* section, uint32_t length);
};

}  // namespace vorn
