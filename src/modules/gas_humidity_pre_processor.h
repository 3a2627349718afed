// Channel 3: smooths log10 of the gas resistance, the temperature and the humidity
// with first-order filters whose coefficients follow the channel's sample
// interval. Feeds the baseline tracker in the same step; no output of its own.
//
// Decisions where the contract leaves room:
// - A configuration or state section shorter than its 12-byte field is refused with
//   RC_E_SECTION_SHORT and changes nothing.
// - Configuring stores the bandwidths only; the coefficients follow at the next
//   setInterval.
#pragma once

#include <cstdint>

#include "identifiers/identifiers.h"
#include "math/exp_smoothing.h"
#include "serialization/section.h"

namespace vorn {

// Configuration and state sections: X(wire name, member, unit, lowest, highest, help).
#define VORN_PRE_PROCESSOR_CONFIGURATION(X)   \
    X(bandwidth, bandwidth, Hertz, 0, 3.4e38, \
      "smoothing bandwidth of log gas, temperature, humidity")
#define VORN_PRE_PROCESSOR_STATE(X)                         \
    X(filter_state, gasFilter.state, None, -3.4e38, 3.4e38, \
      "smoothed log10 gas, temperature, humidity")

struct GasHumidityPreProcessor {
    ExpSmoothing<3> gasFilter;  // log gas, temperature, humidity; state[0] 0.0 = not seeded
    Vec3 bandwidth;             // Hz, per element (configuration)

    static constexpr uint32_t kChannelId = channel::kPreProcessor;
    // The gas signal gets eight times the bandwidth of temperature and humidity.
    static constexpr Vec3 kDefaultBandwidth = {0.02f, 0.0025f, 0.0025f};  // Hz

    constexpr GasHumidityPreProcessor() : gasFilter(), bandwidth(kDefaultBandwidth) {}

    // One step: gas resistance (ohm, floored at 10; NaN counts as the floor),
    // temperature (C), humidity (%) in; the smoothed log10 gas, temperature and
    // humidity out. The first step, or the first after a state with log gas 0.0,
    // seeds the filter with the inputs.
    void step(float& logGas, float& temperature, float& humidity, float gasResistance,
              float rawTemperature, float rawHumidity);
    // Recompute the three coefficients for the interval (10 ms units).
    void setInterval(uint16_t interval);

    // Configuring stores the bandwidths only; the coefficients follow at the next
    // interval update.
    VORN_SECTION_FIELDS(kChannelId, VORN_PRE_PROCESSOR_CONFIGURATION, VORN_PRE_PROCESSOR_STATE)
};

}  // namespace vorn
