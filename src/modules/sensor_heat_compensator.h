// Channel 9: corrects the chip temperature for the heat of the gas sensor's hot
// plate, a term that decays with the time since the last gas measurement and
// depends on the gas interval, and subtracts the caller's temperature offset.
#pragma once

#include <array>
#include <cstdint>

namespace vorn {

struct SensorHeatCompensator {
    uint32_t channelId;              // 9
    std::array<float, 5> coeffA;     // by interval class 1..5
    std::array<float, 5> coeffC;
    std::array<float, 5> coeffB;
    std::array<float, 5> coeffD;
    int64_t prevGasTimestamp;        // ns; INT64_MAX = none
    float fixedCompensation;         // heating term at gas interval 1800

    SensorHeatCompensator();

    // Compensated temperature. gasTimestamp is INT64_MAX when no gas sample was
    // processed in this step; gasInterval is the baseline tracker's samplIntvl.
    float doStep(int64_t gasTimestamp, int64_t temperatureTimestamp, uint16_t gasInterval,
                 float temperature, float temperatureOffset);

    uint32_t getConfiguration(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    uint32_t getState(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    int32_t configure(const uint8_t* section, uint32_t length);
    int32_t setState(const uint8_t* section, uint32_t length);
};

}  // namespace vorn
