// Channel 10: carries the measured relative humidity from the (smoothed) chip
// temperature to the heat-compensated temperature, keeping the dew point, after an
// optional first-order correction of the raw humidity.
//
// Decisions where the contract leaves room:
// - A configuration or state section shorter than its fields is refused with
//   RC_E_SECTION_SHORT and changes nothing.
// - A smoothed temperature of exactly 0.0 C is indistinguishable from "not seeded":
//   the next step re-seeds from the raw temperature.
#pragma once

#include <array>
#include <cstdint>

#include "math/exp_smoothing.h"

namespace vorn {

struct HumidityTemperatureCorrector {
    uint32_t channelId;                     // 10
    ExpSmoothingVorn<1> temperatureFilter;  // C; state 0.0 = not seeded
    std::array<float, 2> humidityPoly;      // p0, p1 (configuration); 0, 0 = no correction

    constexpr explicit HumidityTemperatureCorrector(uint32_t id)
        : channelId(id), temperatureFilter(), humidityPoly{0.0f, 0.0f} {}

    // Polynomial 0, 0 and filter state 0.0.
    void reset();

    // Compensated humidity (%, at most 100) from the raw temperature (C), the
    // compensated temperature of the same step (C) and the raw humidity (%, taken as
    // 0.0001 at or below 0 and as 100 above 100).
    float doStep(float temperature, float compensatedTemperature, float humidity);
    // Recompute the filter coefficient for the interval (10 ms units).
    void updateInterfaceDependency(uint16_t interval);

    // Configuration: humidityPoly (2 x f32); 12 bytes with header. State: the filter
    // state (f32); 8 bytes with header. Configuring leaves the filter alone. Readers
    // return RC_E_SECTION_SHORT or RC_E_SECTION_UNKNOWN and change nothing, else RC_OK.
    uint32_t getConfiguration(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    uint32_t getState(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    int32_t configure(const uint8_t* section, uint32_t length);
    int32_t setState(const uint8_t* section, uint32_t length);
};

}  // namespace vorn
