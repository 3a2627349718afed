// Sensor heat compensator: the self-heating term by gas interval and the module's
// sections.
#include "math/fp_rules.h"

#include "modules/sensor_heat_compensator.h"

#include "identifiers/identifiers.h"
#include "math/numeric.h"

namespace vorn {

namespace {

constexpr double kNanosPerSecond = 1e9;
constexpr uint16_t kFixedTermInterval = 1800;  // uses the fixed compensation
constexpr int kNoClass = -1;

// Gas intervals (10 ms units) that have fitted coefficients, with their index
// (interval class - 1). Class 3 is carried but never chosen.
struct IntervalClass {
    uint16_t gasInterval;
    int index;
};
constexpr std::array<IntervalClass, 4> kIntervalClasses = {
    {{30000, 0}, {6000, 1}, {300, 3}, {100, 4}}};

int coefficientIndex(uint16_t gasInterval) {
    for (const IntervalClass& entry : kIntervalClasses) {
        if (entry.gasInterval == gasInterval) return entry.index;
    }
    return kNoClass;
}

// Seconds from `earlier` to `later`. The int64 difference is exact where it does
// not overflow; beyond that the two stamps are subtracted in double precision.
double secondsBetween(int64_t later, int64_t earlier) {
    int64_t difference = 0;
    if (__builtin_sub_overflow(later, earlier, &difference)) {
        return (static_cast<double>(later) - static_cast<double>(earlier)) / kNanosPerSecond;
    }
    return static_cast<double>(difference) / kNanosPerSecond;
}

}  // namespace

float SensorHeatCompensator::step(int64_t gasTimestamp, int64_t temperatureTimestamp,
                                  uint16_t gasInterval, float temperature,
                                  float temperatureOffset) {
    float heating = 0.0f;
    if (gasInterval == kFixedTermInterval) {
        heating = settings.fixedCompensation;
    } else if (const int k = coefficientIndex(gasInterval);
               k != kNoClass && learnt.prevGasTimestamp != kNoTimestamp) {
        const auto index = static_cast<std::size_t>(k);
        const double seconds = secondsBetween(temperatureTimestamp, learnt.prevGasTimestamp);
        const auto squared = static_cast<float>(seconds * seconds);
        const auto t = static_cast<float>(seconds);
        heating = (settings.coeffA[index] * t + settings.coeffC[index]) /
                  ((settings.coeffB[index] * t + squared) + settings.coeffD[index]);
    }
    // The reference moves only after the term used the previous gas step.
    if (gasTimestamp != kNoTimestamp) learnt.prevGasTimestamp = gasTimestamp;
    return (temperature - heating) - temperatureOffset;
}

}  // namespace vorn
