// The central class: the channel hub followed by the library-level fields (the
// hyper configuration and hyper state), and the operations that subscribe, plan
// measurements and move the library between blobs and memory. The single static
// instance lives in instance.cpp; every exported operation works on it.
#pragma once

#include <array>
#include <cstdint>

#include "hub/channel_hub.h"
#include "identifiers/identifiers.h"
#include "vorn/vorn.h"

namespace vorn {

inline constexpr int kHeaterProfileCount = 4;   // columns of the heater profile
inline constexpr int kAllowedIntervalRows = 6;  // alternatives per output slot
inline constexpr uint8_t kHyperSectionId = 254;

// Time stamps are signed, but a caller may hand any value: differences and sums of
// time stamps wrap modulo 2^64 instead of overflowing, which equals the plain
// result whenever that result fits.
constexpr int64_t wrapAdd(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}
constexpr int64_t wrapSub(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}

// Remainder in which a divisor of 0 leaves the dividend, so a zero interval read
// from an imported configuration cannot divide by zero.
constexpr uint16_t remainderOrSelf(uint16_t dividend, uint16_t divisor) {
    return divisor == 0 ? dividend : static_cast<uint16_t>(dividend % divisor);
}

using OutputIntervals = std::array<uint16_t, kOutputCount>;

// The hyper section of a configuration blob: X(wire name, member, unit, lowest,
// highest, help). The input ranges are not part of it: an import keeps them. A state
// blob may carry an empty hyper section, which is accepted and ignored.
#define VORN_HYPER_CONFIGURATION(X)                                                               \
    X(temperature_oversampling, temperatureOversampling, None, 0, 255,                            \
      "temperature oversampling setting")                                                         \
    X(humidity_oversampling, humidityOversampling, None, 0, 255, "humidity oversampling setting") \
    X(pressure_oversampling, pressureOversampling, None, 0, 255, "pressure oversampling setting") \
    X(gas_intervals, gasIntvlList, Interval, 1, 65535,                                            \
      "gas sample intervals with a heater profile")                                               \
    X(heater_duration_ms, heaterDuration, Ms, 0, 65535, "heater on-time for each gas interval")   \
    X(heater_temperature_c, heaterTemperature, Celsius, 0, 65535,                                 \
      "heater temperature for each gas interval")                                                 \
    X(allowed_intervals, allowedOutputIntvl, IntervalPerOutput, 1, 65535,                         \
      "allowed sample intervals of this output (65535: empty)")                                   \
    X(default_interval, defaultOutputIntvl, IntervalPerOutput, 1, 65535,                          \
      "interval requested whenever a configuration is applied (65535: off)")                      \
    X(base_interval, baseIntvl, Interval, 1, 65535, "longest interval between sensor-control calls")

struct Engine {
    ChannelHub hub;

    int64_t lastCallTimestamp;         // ns of the last call that planned a measurement; 0 = none
    int64_t lastRegularGasTimestamp;   // ns of the last gas sample with the regular on-time
    int64_t lastOnDemandGasTimestamp;  // ns of the last gas sample after an on-demand trigger
    std::array<float, kInputCount> inputMin;  // lowest accepted value per input slot
    std::array<float, kInputCount> inputMax;  // highest accepted value per input slot
    // Row k holds the (k+1)-th allowed interval of every output slot; 65535 = no entry.
    std::array<OutputIntervals, kAllowedIntervalRows> allowedOutputIntvl;
    OutputIntervals defaultOutputIntvl;  // requested whenever a configuration is applied
    uint16_t stepIntvl;                  // from the last planning call to the next
    uint16_t baseIntvl;     // longest gap between calls; the shortest interval divides it
    uint16_t longestIntvl;  // largest allowed interval; modulus of schedulePhase
    // The heater profile: the three arrays travel together as one 24-byte block.
    std::array<uint16_t, kHeaterProfileCount> gasIntvlList;       // gas intervals with a profile
    std::array<uint16_t, kHeaterProfileCount> heaterDuration;     // ms
    std::array<uint16_t, kHeaterProfileCount> heaterTemperature;  // degrees Celsius
    OutputIntervals requestedOutputIntvl;                         // 65535 = not subscribed
    std::array<uint8_t, kOutputCount> outputIntvlChanged;         // changed and not yet applied
    uint16_t schedulePhase;      // 10 ms units, modulo longestIntvl
    uint8_t heaterProfileIndex;  // 1-based column of the gas interval; 0 = none
    uint8_t temperatureOversampling;
    uint8_t humidityOversampling;
    uint8_t pressureOversampling;
    uint8_t subscriptionChanged;  // requested intervals not yet pushed into the hub
    uint8_t triggerPending;       // an on-demand gas measurement waits to be planned
    int32_t triggerStatus;        // 0, RC_W_TRIGGER_TIMING or RC_W_TRIGGER_TOO_SOON

    // Builds the hub only; construct() sets everything else.
    Engine() : hub() {}

    // Subscription (subscription.cpp).
    void requestOutput(uint8_t id, uint16_t interval);
    [[nodiscard]] int32_t checkIntervalsCompatible(const OutputIntervals& newIntervals) const;
    void applyUpdateSubscription();

    // Measurement planning (sensor_planning.cpp).
    bool checkIfSensorRequired(uint8_t id, SensorSettings& settings, uint16_t& interval) const;
    static uint16_t getModHeatingDuration(float seconds);

    // Hyper configuration and state (hyper_configuration.cpp): back to the defaults,
    // the schedule back to its start, and the hyper section.
    void configureDefaults();
    void resetSchedule();
    VORN_SECTION_FIELDS(kHyperSectionId, VORN_HYPER_CONFIGURATION, VORN_NO_FIELDS)
    // An imported configuration takes effect at once.
    void afterImport(SectionKind kind);

private:
    void applyConfiguration();
};

// The single library instance, built from its defaults on first use if no
// vorn_init came first.
Engine& instance();

// Rebuild the instance in place from its defaults (vorn_init).
void constructEngine();

// The operations behind the exported functions, with the exported arguments. Each
// turns a caller's null pointer into a status or a safe no-op itself, so that the
// exported functions are plain tail calls that add no stack frame.
[[nodiscard]] int32_t doSteps(Engine& v, const InputSample* inputs, uint8_t nInputs,
                              OutputSample* outputs, uint8_t* nOutputs);
[[nodiscard]] int32_t updateSubscription(Engine& v, const SensorRate* requested, uint8_t nRequested,
                                         SensorRate* required, uint8_t* nRequired);
[[nodiscard]] int32_t sensorControl(Engine& v, int64_t timeNs, SensorSettings* settings);
[[nodiscard]] int32_t resetOutput(Engine& v, uint8_t id);
[[nodiscard]] int32_t getConfiguration(const Engine& v, uint8_t setId, uint8_t* blob,
                                       uint32_t blobCapacity, uint8_t* work, uint32_t workSize,
                                       uint32_t* blobSize);
[[nodiscard]] int32_t getState(const Engine& v, uint8_t setId, uint8_t* blob, uint32_t blobCapacity,
                               uint8_t* work, uint32_t workSize, uint32_t* blobSize);
[[nodiscard]] int32_t setConfiguration(Engine& v, const uint8_t* blob, uint32_t blobSize,
                                       uint8_t* work, uint32_t workSize);
[[nodiscard]] int32_t setState(Engine& v, const uint8_t* blob, uint32_t blobSize, uint8_t* work,
                               uint32_t workSize);

}  // namespace vorn
