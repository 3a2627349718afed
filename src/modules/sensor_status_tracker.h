// Channel 5: watches the gas time stamps and keeps two clocks, the accumulated
// operating time (survives interruptions) and the continuous time since the last
// gap, each latching a flag at its requirement. Its flags gate the baseline
// learning; its continuous-time progress blends the IAQ indices after a gap.
#pragma once

#include <cstdint>

namespace vorn {

struct SensorStatusTracker {
    uint32_t channelId;               // 5; section id of both sections
    int64_t lastTimestamp;            // ns of the previous step; 0 = none
    float continuousTime;             // ns of uninterrupted operation counted
    float accumulatedTime;            // ns of operation counted, kept across gaps
    float accumulatedTimeRequired;    // ns (configuration)
    float continuousTimeRequired;     // ns (derived from the interval)
    int64_t maxGap;                   // ns; longest continuous step (derived)
    int8_t gapFactor;                 // intervals in the gap limit, before x1.5 (configuration)
    uint8_t accumulatedTimeReached;   // flag
    uint8_t continuousTimeReached;    // flag

    SensorStatusTracker();

    // One step with the gas time stamp t (ns).
    void doStep(int64_t t, uint8_t& accumulatedFlag, uint8_t& continuousFlag, float& progress);
    // Derive maxGap and continuousTimeRequired from the interval (10 ms units), or
    // stop the continuous clock for 65535.
    void updateInterfaceDependency(uint16_t interval);

    uint32_t getConfiguration(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    uint32_t getState(uint8_t* buffer, uint32_t capacity, uint32_t minCount) const;
    int32_t configure(const uint8_t* section, uint32_t length);
    int32_t setState(const uint8_t* section, uint32_t length);
};

}  // namespace vorn
