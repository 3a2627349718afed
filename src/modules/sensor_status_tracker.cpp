// Sensor status tracker: the two operating-time clocks behind the status flags,
// the gap limit derived from the sample interval, and the module's sections.
#include "math/fp_rules.h"

#include "modules/sensor_status_tracker.h"

#include "identifiers/identifiers.h"

namespace vorn {

namespace {

constexpr int64_t kNanosPerUnit = 10'000'000;  // one interval unit is 10 ms

// Continuous time needed before the flag is set, by interval.
constexpr float kContinuousRequiredFast = 3.0e11f;  // 300 s at intervals 100 and 300
constexpr float kContinuousRequiredSlow = 6.0e10f;  // 60 s at interval 1800
constexpr uint16_t kInterval1Hz = 100;
constexpr uint16_t kInterval3s = 300;
constexpr uint16_t kInterval18s = 1800;

// A step continues the series when it does not go back in time and lies at most
// maxGap after the previous one. The unsigned subtraction gives the true distance
// even where it exceeds the int64 range.
bool isContinuous(int64_t last, int64_t t, int64_t maxGap) {
    if (last > t || maxGap < 0) return false;
    const uint64_t elapsed = static_cast<uint64_t>(t) - static_cast<uint64_t>(last);
    return elapsed <= static_cast<uint64_t>(maxGap);
}

float continuousRequiredFor(uint16_t interval) {
    switch (interval) {
        case kInterval1Hz:
        case kInterval3s:
            return kContinuousRequiredFast;
        case kInterval18s:
            return kContinuousRequiredSlow;
        default:
            return SensorStatusTracker::kDefaultContinuousTimeRequired;
    }
}

}  // namespace

void SensorStatusTracker::step(int64_t t, uint8_t& accumulatedFlag, uint8_t& continuousFlag,
                               float& progress) {
    if (isContinuous(learnt.lastTimestamp, t, derived.maxGap)) {
        if (learnt.lastTimestamp == 0) learnt.lastTimestamp = t;
    } else {
        // The length of an interruption is never counted.
        learnt.continuousTime = 0.0f;
        learnt.continuousTimeReached = false;
        learnt.lastTimestamp = t;
    }

    // Here 0 <= t - lastTimestamp <= maxGap, so the difference cannot overflow.
    const auto increment = static_cast<float>(t - learnt.lastTimestamp);
    if (!learnt.accumulatedTimeReached) {
        learnt.accumulatedTime += increment;
        if (learnt.accumulatedTime >= settings.accumulatedTimeRequired)
            learnt.accumulatedTimeReached = true;
    }
    if (!learnt.continuousTimeReached) {
        learnt.continuousTime += increment;
        if (learnt.continuousTime >= derived.continuousTimeRequired)
            learnt.continuousTimeReached = true;
    }

    // 0 must keep its meaning of "no previous step".
    learnt.lastTimestamp = t > 0 ? t : 1;

    accumulatedFlag = learnt.accumulatedTimeReached;
    continuousFlag = learnt.continuousTimeReached;
    if (learnt.continuousTimeReached || derived.continuousTimeRequired == 0.0f) {
        progress = 1.0f;
    } else {
        progress = learnt.continuousTime / derived.continuousTimeRequired;
    }
}

void SensorStatusTracker::setInterval(uint16_t interval) {
    if (interval == kIntervalOff) {
        learnt.lastTimestamp = 0;
        learnt.continuousTime = 0.0f;
        learnt.continuousTimeReached = false;
        return;
    }
    // 1.5 gap-factor intervals, formed in 32-bit unsigned arithmetic (a negative
    // factor wraps) and widened before scaling to ns; at most (2^32 - 1) * 1e7.
    const uint32_t intervals = static_cast<uint32_t>(settings.gapFactor) * interval;
    const uint32_t gapUnits = intervals + (intervals >> 1);
    derived.maxGap = static_cast<int64_t>(static_cast<uint64_t>(gapUnits) * kNanosPerUnit);
    derived.continuousTimeRequired = continuousRequiredFor(interval);
}

}  // namespace vorn
