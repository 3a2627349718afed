// The measurement scheduler: at each call it decides which inputs are due, with
// which oversampling and heater settings, and when to be called next; it also runs
// an accepted on-demand gas measurement and re-checks whether the next one would
// be accepted. All time arithmetic wraps instead of overflowing, so any time stamp
// a caller hands in is safe.
#include "math/fp_rules.h"

#include <algorithm>

#include "engine/engine.h"

namespace vorn {
namespace {

constexpr int64_t kNsPerIntervalUnit = 10'000'000;  // one interval unit is 10 ms
constexpr int kToleranceShift = 4;                  // a call may deviate by 1/16 interval
constexpr float kNsPerSecond = 1e9f;
constexpr float kTriggerMinGapS = 60.0f;   // an on-demand sample needs the layer cooled this long
constexpr float kTriggerMaxGapS = 240.0f;  // and no longer than this since the regular one
constexpr uint32_t kModHeatingFlagBit = 1u << (IN_MOD_HEATING_FLAG - 1);
constexpr float kModifiedSample = 1.0f;
constexpr float kRegularSample = 0.0f;

void clearPlan(SensorSettings& s) {
    s.input_mask = 0;
    s.heater_temperature_c = 0;
    s.heater_duration_ms = 0;
    s.gas_enable = 0;
    s.pressure_os = 0;
    s.temperature_os = 0;
    s.humidity_os = 0;
    s.measure_now = 0;
}

float secondsBetween(int64_t later, int64_t earlier) {
    return static_cast<float>(wrapSub(later, earlier)) / kNsPerSecond;
}

// The gas measurement: the profile of the current gas interval (temperature and
// on-time 0 when the interval has none), or after a trigger a modified on-time that
// depends on how long the sensor layer has cooled.
void planGas(Engine& v, int64_t timeNs, SensorSettings& s) {
    const int column = v.heaterProfileIndex - 1;
    s.gas_enable = 1;
    s.heater_temperature_c = column >= 0 ? v.heaterTemperature[column] : 0;
    s.humidity_os = v.humidityOversampling;
    s.temperature_os = v.temperatureOversampling;
    const bool afterModified = v.hub.latestValue(IN_MOD_HEATING_FLAG) != 0.0f;
    if (!afterModified && v.triggerPending == 0) {
        s.heater_duration_ms = column >= 0 ? v.heaterDuration[column] : 0;
        v.lastRegularGasTimestamp = timeNs;
        return;
    }
    const int64_t lastGas = std::max(v.lastRegularGasTimestamp, v.lastOnDemandGasTimestamp);
    s.heater_duration_ms = Engine::getModHeatingDuration(secondsBetween(timeNs, lastGas));
    if (v.triggerPending != 0) {
        v.hub.setInput(IN_MOD_HEATING_FLAG, timeNs, kModifiedSample);
        s.input_mask |= kModHeatingFlagBit;
        v.lastOnDemandGasTimestamp = timeNs;
    } else {
        v.hub.setInput(IN_MOD_HEATING_FLAG, timeNs, kRegularSample);
        v.lastRegularGasTimestamp = timeNs;
    }
}

// Fills the plan for every due input and returns the shortest input interval.
uint16_t planInputs(Engine& v, int64_t timeNs, SensorSettings& s) {
    uint16_t shortest = v.baseIntvl;
    uint16_t interval = kIntervalOff;
    if (v.checkIfSensorRequired(IN_PRESSURE, s, interval)) {
        s.pressure_os = v.pressureOversampling;
        s.temperature_os = v.temperatureOversampling;
    }
    shortest = std::min(shortest, interval);
    if (v.checkIfSensorRequired(IN_HUMIDITY, s, interval)) {
        s.humidity_os = v.humidityOversampling;
        s.temperature_os = v.temperatureOversampling;
    }
    shortest = std::min(shortest, interval);
    if (v.checkIfSensorRequired(IN_TEMPERATURE, s, interval)) {
        s.temperature_os = v.temperatureOversampling;
    }
    shortest = std::min(shortest, interval);
    if (v.checkIfSensorRequired(IN_GAS_RESISTANCE, s, interval)) planGas(v, timeNs, s);
    return std::min(shortest, interval);
}

// Moves to the next due phase and returns the time of the next call.
int64_t advanceSchedule(Engine& v, int64_t timeNs, uint16_t step) {
    v.lastCallTimestamp = timeNs;
    v.stepIntvl = static_cast<uint16_t>(step - remainderOrSelf(v.schedulePhase, step));
    v.schedulePhase =
        remainderOrSelf(static_cast<uint16_t>(v.schedulePhase + v.stepIntvl), v.longestIntvl);
    return wrapAdd(timeNs, kNsPerIntervalUnit * v.stepIntvl);
}

// Whether an on-demand trigger asked for now would be accepted at the next call.
int32_t triggerWindow(const Engine& v, int64_t nextCallNs) {
    const float sinceRegular = secondsBetween(nextCallNs, v.lastRegularGasTimestamp);
    if (sinceRegular < kTriggerMinGapS || sinceRegular > kTriggerMaxGapS) {
        return RC_W_TRIGGER_TIMING;
    }
    const float sinceOnDemand = secondsBetween(nextCallNs, v.lastOnDemandGasTimestamp);
    return sinceOnDemand < kTriggerMinGapS ? RC_W_TRIGGER_TOO_SOON : RC_OK;
}

}  // namespace

// Without a record to fill, planning would move the schedule unseen: a null
// settings pointer changes nothing and is answered as a deviation.
int32_t sensorControl(Engine& v, int64_t timeNs, SensorSettings* plan) {
    if (plan == nullptr) return RC_W_CALL_TIME_DEVIATION;
    SensorSettings& settings = *plan;
    clearPlan(settings);
    int32_t status = RC_OK;
    v.applyUpdateSubscription();

    if (v.lastCallTimestamp != 0) {
        const int64_t elapsed = wrapSub(timeNs, v.lastCallTimestamp);
        const int64_t planned = kNsPerIntervalUnit * v.stepIntvl;
        const int64_t tolerance = planned >> kToleranceShift;
        if (wrapSub(planned, elapsed) > tolerance) {
            // Too early: only tell when the pending call is due.
            settings.next_call_ns = wrapAdd(v.lastCallTimestamp, planned);
            return RC_W_CALL_TIME_DEVIATION;
        }
        if (wrapSub(elapsed, planned) > tolerance) status = RC_W_CALL_TIME_DEVIATION;
    }

    settings.next_call_ns = 0;
    const uint16_t step = planInputs(v, timeNs, settings);
    settings.next_call_ns = advanceSchedule(v, timeNs, step);
    v.triggerPending = 0;
    v.triggerStatus = triggerWindow(v, settings.next_call_ns);
    return status;
}

}  // namespace vorn
