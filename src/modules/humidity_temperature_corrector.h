// Channel 10: carries the measured relative humidity from the (smoothed) chip
// temperature to the heat-compensated temperature, keeping the dew point, after an
// optional first-order correction of the raw humidity.
#pragma once

#include <array>
#include <cstdint>

#include "math/exp_smoothing.h"

namespace vorn {

struct HumidityTemperatureCorrector {
    uint32_t channelId;                    // 10
    ExpSmoothingVorn<1> temperatureFilter; // state 0.0 = not seeded
    std::array<float, 2> humidityPoly;     // p0, p1 (configuration)

    explicit HumidityTemperatureCorrector(uint32_t id);

    // Polynomial 0, 0 and filter state 0.0.
    void reset();

    // Compensated humidity (%) from the raw temperature, the compensated
    // temperature of the same step and the raw humidity.
    float doStep(float temperature, float compensatedTemperature, float humidity);
    void updateInterfaceDependency(uint16_t interval);

    uint32_t getConfiguration(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    uint32_t getState(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    int32_t configure(const uint8_t* section, uint32_t length);
    int32_t setState(const uint8_t* section, uint32_t length);
};

}  // namespace vorn
