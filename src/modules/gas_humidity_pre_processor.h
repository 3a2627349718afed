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
#define VORN_PRE_PROCESSOR_CONFIGURATION(X)            \
    X(bandwidth, settings.bandwidth, Hertz, 0, 3.4e38, \
      "smoothing bandwidth of log gas, temperature, humidity")
#define VORN_PRE_PROCESSOR_STATE(X)                         \
    X(filter_state, learnt.smoothed, None, -3.4e38, 3.4e38, \
      "smoothed log10 gas, temperature, humidity")

struct GasHumidityPreProcessor {
    static constexpr uint32_t kChannelId = channel::kPreProcessor;

    // Log gas, temperature and humidity, element by element.
    struct Settings {
        Vec3 bandwidth;  // Hz
    };
    struct Learnt {
        Vec3 smoothed;  // the filters' outputs; a log gas of 0.0 means "not seeded"
    };
    struct Derived {
        Vec3 coeff;  // smoothing coefficients for the interval
    };

    // The gas signal gets eight times the bandwidth of temperature and humidity.
    static constexpr Settings kDefaultSettings = {{0.02f, 0.0025f, 0.0025f}};

    Settings settings = kDefaultSettings;
    Learnt learnt = {};
    Derived derived = {{0.5f, 0.5f, 0.5f}};

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
