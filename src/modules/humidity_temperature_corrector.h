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

#include "identifiers/identifiers.h"
#include "math/exp_smoothing.h"
#include "serialization/section.h"

namespace vorn {

// Configuration and state sections: X(wire name, member, unit, lowest, highest, help).
#define VORN_HUMIDITY_CORRECTOR_CONFIGURATION(X)                   \
    X(humidity_poly, settings.humidityPoly, None, -3.4e38, 3.4e38, \
      "humidity correction p0 * h + p1, added to h")
#define VORN_HUMIDITY_CORRECTOR_STATE(X)                                              \
    X(temperature_filter_state, learnt.smoothedTemperature, Celsius, -3.4e38, 3.4e38, \
      "smoothed chip temperature (0: unseeded)")

struct HumidityTemperatureCorrector {
    static constexpr uint32_t kChannelId = channel::kHumidityCorrector;

    struct Settings {
        std::array<float, 2> humidityPoly;  // p0, p1; 0, 0 = no correction
    };
    struct Learnt {
        float smoothedTemperature;  // C; 0.0 = not seeded
    };
    struct Derived {
        float temperatureCoeff;  // smoothing coefficient for the interval
    };

    static constexpr Settings kDefaultSettings = {{0.0f, 0.0f}};

    Settings settings = kDefaultSettings;
    Learnt learnt = {0.0f};
    Derived derived = {0.5f};

    // Compensated humidity (%, at most 100) from the raw temperature (C), the
    // compensated temperature of the same step (C) and the raw humidity (%, taken as
    // 0.0001 at or below 0 and as 100 above 100).
    float step(float temperature, float compensatedTemperature, float humidity);
    // Recompute the filter coefficient for the interval (10 ms units).
    void setInterval(uint16_t interval);

    // Configuring leaves the filter alone.
    VORN_SECTION_FIELDS(kChannelId, VORN_HUMIDITY_CORRECTOR_CONFIGURATION,
                        VORN_HUMIDITY_CORRECTOR_STATE)
};

}  // namespace vorn
