// Sensor status tracker: the two operating-time clocks behind the status flags,
// the gap limit derived from the sample interval, and the module's sections.
#include "modules/sensor_status_tracker.h"

#include "identifiers/identifiers.h"
#include "serialization/section.h"

namespace vorn {

namespace {

constexpr int64_t kNanosPerUnit = 10'000'000;  // one interval unit is 10 ms

// Continuous time needed before the flag is set, by interval.
constexpr float kContinuousRequiredFast = 3.0e11f;  // 300 s at intervals 100 and 300
constexpr float kContinuousRequiredSlow = 6.0e10f;  // 60 s at interval 1800
constexpr uint16_t kInterval1Hz = 100;
constexpr uint16_t kInterval3s = 300;
constexpr uint16_t kInterval18s = 1800;

constexpr uint32_t kConfigurationFields = 2;
constexpr uint32_t kConfigurationBytes = sizeof(float) + sizeof(int8_t);
constexpr uint32_t kStateFields = 5;
constexpr uint32_t kStateBytes = sizeof(int64_t) + 2 * sizeof(float) + 2 * sizeof(uint8_t);

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

void SensorStatusTracker::doStep(int64_t t, uint8_t& accumulatedFlag, uint8_t& continuousFlag,
                                 float& progress) {
    if (isContinuous(lastTimestamp, t, maxGap)) {
        if (lastTimestamp == 0) lastTimestamp = t;
    } else {
        // The length of an interruption is never counted.
        continuousTime = 0.0f;
        continuousTimeReached = 0;
        lastTimestamp = t;
    }

    // Here 0 <= t - lastTimestamp <= maxGap, so the difference cannot overflow.
    const auto increment = static_cast<float>(t - lastTimestamp);
    if (accumulatedTimeReached == 0) {
        accumulatedTime += increment;
        if (accumulatedTime >= accumulatedTimeRequired) accumulatedTimeReached = 1;
    }
    if (continuousTimeReached == 0) {
        continuousTime += increment;
        if (continuousTime >= continuousTimeRequired) continuousTimeReached = 1;
    }

    // 0 must keep its meaning of "no previous step".
    lastTimestamp = t > 0 ? t : 1;

    accumulatedFlag = accumulatedTimeReached;
    continuousFlag = continuousTimeReached;
    if (continuousTimeReached == 1 || continuousTimeRequired == 0.0f) {
        progress = 1.0f;
    } else {
        progress = continuousTime / continuousTimeRequired;
    }
}

void SensorStatusTracker::updateInterfaceDependency(uint16_t interval) {
    if (interval == kIntervalOff) {
        lastTimestamp = 0;
        continuousTime = 0.0f;
        continuousTimeReached = 0;
        return;
    }
    // 1.5 gap-factor intervals, formed in 32-bit unsigned arithmetic (a negative
    // factor wraps) and widened before scaling to ns; at most (2^32 - 1) * 1e7.
    const uint32_t intervals = static_cast<uint32_t>(gapFactor) * interval;
    const uint32_t gapUnits = intervals + (intervals >> 1);
    maxGap = static_cast<int64_t>(static_cast<uint64_t>(gapUnits) * kNanosPerUnit);
    continuousTimeRequired = continuousRequiredFor(interval);
}

uint32_t SensorStatusTracker::getConfiguration(uint8_t* buffer, uint32_t capacity,
                                               uint32_t minCount) const {
    return SectionWriter(channelId, buffer, capacity, kConfigurationFields, minCount)
        .add(accumulatedTimeRequired)
        .add(gapFactor)
        .finish();
}

uint32_t SensorStatusTracker::getState(uint8_t* buffer, uint32_t capacity,
                                       uint32_t minCount) const {
    return SectionWriter(channelId, buffer, capacity, kStateFields, minCount)
        .add(lastTimestamp)
        .add(accumulatedTime)
        .add(continuousTime)
        .add(accumulatedTimeReached)
        .add(continuousTimeReached)
        .finish();
}

int32_t SensorStatusTracker::configure(const uint8_t* section, uint32_t length) {
    SectionReader reader;
    const int32_t status = reader.open(channelId, section, length, kConfigurationBytes);
    if (status != RC_OK) return status;
    reader.read(accumulatedTimeRequired).read(gapFactor);
    return RC_OK;
}

int32_t SensorStatusTracker::setState(const uint8_t* section, uint32_t length) {
    SectionReader reader;
    const int32_t status = reader.open(channelId, section, length, kStateBytes);
    if (status != RC_OK) return status;
    reader.read(lastTimestamp)
        .read(accumulatedTime)
        .read(continuousTime)
        .readFlag(accumulatedTimeReached)
        .readFlag(continuousTimeReached);
    return RC_OK;
}

}  // namespace vorn
