// Channel 3: smooths log10 of the gas resistance, the temperature and the humidity
// with first-order filters whose coefficients follow the channel's sample
// interval. Feeds the baseline tracker in the same step; no output of its own.
#pragma once

#include <cstdint>

#include "math/exp_smoothing.h"

namespace vorn {

struct GasHumidityPreProcessor {
    uint32_t channelId;              // 3
    ExpSmoothingVorn<3> gasFilter;   // log gas, temperature, humidity; state[0] 0.0 = not seeded
    Vec3 bandwidth;                  // Hz, per element (configuration)

    GasHumidityPreProcessor();

    // Bandwidths 0.02, 0.0025, 0.0025 Hz and the filter states 0.0.
    void reset();

    // One step: gas resistance (ohm), temperature (C), humidity (%) in; the
    // smoothed log10 gas, temperature and humidity out.
    void doStep(float& logGas, float& temperature, float& humidity, float gasResistance,
                float rawTemperature, float rawHumidity);
    // Recompute the three coefficients for the interval (10 ms units).
    void updateInterfaceDependency(uint16_t interval);

    // Sections (written for the hub): configuration = bandwidth, state = filter state.
    uint32_t getConfiguration(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    uint32_t getState(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    int32_t configure(const uint8_t* section, uint32_t length);
    int32_t setState(const uint8_t* section, uint32_t length);
};

}  // namespace vorn
