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

#include "identifiers/identifiers.h"
#include "serialization/section.h"

namespace vorn {

// Configuration section: X(wire name, member, unit, lowest, highest, help).
#define VORN_HEAT_COMPENSATOR_CONFIGURATION(X)                                  \
    X(coeff_a, settings.coeffA, None, -3.4e38, 3.4e38,                          \
      "heating term numerator slope, by interval class")                        \
    X(coeff_c, settings.coeffC, None, -3.4e38, 3.4e38,                          \
      "heating term numerator constant, by interval class")                     \
    X(coeff_b, settings.coeffB, None, -3.4e38, 3.4e38,                          \
      "heating term denominator slope, by interval class")                      \
    X(coeff_d, settings.coeffD, None, -3.4e38, 3.4e38,                          \
      "heating term denominator constant, by interval class")                   \
    X(fixed_compensation, settings.fixedCompensation, Celsius, -3.4e38, 3.4e38, \
      "heating term at gas interval 1800")

// State section.
#define VORN_HEAT_COMPENSATOR_STATE(X)                                           \
    X(prev_gas_timestamp, learnt.prevGasTimestamp, Nanoseconds, -9.2e18, 9.2e18, \
      "last gas step seen (2^63-1: none)")

struct SensorHeatCompensator {
    static constexpr uint32_t kChannelId = channel::kHeatCompensator;

    // h(t) = (A t + C) / (B t + t^2 + D) with t in s since the last gas step, by
    // interval class: 30000, 6000, (unused), 300, 100 (10 ms units).
    struct Settings {
        std::array<float, 5> coeffA;
        std::array<float, 5> coeffC;
        std::array<float, 5> coeffB;
        std::array<float, 5> coeffD;
        float fixedCompensation;  // heating term at gas interval 1800 (C)
    };
    struct Learnt {
        int64_t prevGasTimestamp;  // ns; INT64_MAX = none
    };

    static constexpr Settings kDefaultSettings = {{0.0737f, 0.0f, 0.0f, 0.1101f, 1.6836f},
                                                  {5.0f, 0.0f, 0.0f, 0.1375f, 0.1639f},
                                                  {-3.1914f, 0.0f, 0.0f, -0.738f, 0.7509f},
                                                  {4.1036f, 0.0f, 0.0f, 0.4453f, -1.0409f},
                                                  3.0f};

    Settings settings = kDefaultSettings;
    Learnt learnt = {INT64_MAX};

    // Compensated temperature (temperature - heating term) - offset. gasTimestamp is
    // INT64_MAX when no gas sample was processed in this step, else it becomes the
    // reference of later steps; gasInterval is the baseline tracker's samplIntvl.
    // Intervals outside 30000, 6000, 1800, 300, 100 apply no heating term.
    float step(int64_t gasTimestamp, int64_t temperatureTimestamp, uint16_t gasInterval,
               float temperature, float temperatureOffset);

    // The heating term follows the gas interval handed to each step: nothing is
    // derived from the channel's own interval.
    void setInterval(uint16_t /*interval*/) {}

    VORN_SECTION_FIELDS(kChannelId, VORN_HEAT_COMPENSATOR_CONFIGURATION,
                        VORN_HEAT_COMPENSATOR_STATE)
};

}  // namespace vorn
