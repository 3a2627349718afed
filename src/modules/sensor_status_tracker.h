// Channel 5: watches the gas time stamps and keeps two clocks, the accumulated
// operating time (survives interruptions) and the continuous time since the last
// gap, each latching a flag at its requirement. Its flags gate the baseline
// learning; its continuous-time progress blends the IAQ indices after a gap.
//
// Decisions where the contract leaves room:
// - A configuration or state section shorter than its fields is refused with
//   RC_E_SECTION_SHORT and changes nothing.
// - gapFactor is stored as read, never range-checked. Only positive values are
//   meaningful: 0 gives a gap limit of 0 ns, so every step with a new time stamp is an
//   interruption; a negative value is taken as its 32-bit two's complement and wraps
//   to a gap limit of many days (about 248 days for -1 at interval 300).
// - Time differences are formed without signed overflow. A step whose true distance
//   from the previous one exceeds the int64 range is an interruption (it is far beyond
//   any gap limit), whatever wrapped arithmetic would have made of it.
#pragma once

#include <cstdint>

#include "identifiers/identifiers.h"
#include "serialization/section.h"

namespace vorn {

// Configuration section: X(wire name, member, unit, lowest, highest, help).
#define VORN_STATUS_TRACKER_CONFIGURATION(X)                                               \
    X(accumulated_time_required, settings.accumulatedTimeRequired, Nanoseconds, 0, 3.4e38, \
      "operating time that sets the accumulated-time flag")                                \
    X(gap_factor, settings.gapFactor, None, 1, 127,                                        \
      "sample intervals (x1.5) that still count as continuous")

// State section.
#define VORN_STATUS_TRACKER_STATE(X)                                          \
    X(last_timestamp, learnt.lastTimestamp, Nanoseconds, -9.2e18, 9.2e18,     \
      "time stamp of the previous gas step")                                  \
    X(accumulated_time, learnt.accumulatedTime, Nanoseconds, -3.4e38, 3.4e38, \
      "operating time counted")                                               \
    X(continuous_time, learnt.continuousTime, Nanoseconds, -3.4e38, 3.4e38,   \
      "uninterrupted operating time counted")                                 \
    X(accumulated_time_reached, learnt.accumulatedTimeReached, None, 0, 1,    \
      "accumulated-time flag")                                                \
    X(continuous_time_reached, learnt.continuousTimeReached, None, 0, 1, "continuous-time flag")

struct SensorStatusTracker {
    static constexpr uint32_t kChannelId = channel::kStatusTracker;
    static constexpr float kDefaultContinuousTimeRequired = 1.2e12f;  // ns: 1200 s

    struct Settings {
        float accumulatedTimeRequired;  // ns
        int8_t gapFactor;               // intervals in the gap limit, before x1.5
    };
    struct Learnt {
        int64_t lastTimestamp;  // ns of the previous step; 0 = none
        float accumulatedTime;  // ns of operation counted, kept across gaps
        float continuousTime;   // ns of uninterrupted operation counted
        bool accumulatedTimeReached;
        bool continuousTimeReached;
    };
    struct Derived {                   // from the interval
        float continuousTimeRequired;  // ns
        int64_t maxGap;                // ns; longest continuous step
    };

    static constexpr Settings kDefaultSettings = {0.0f, 1};

    Settings settings = kDefaultSettings;
    Learnt learnt = {0, 0.0f, 0.0f, false, false};
    Derived derived = {kDefaultContinuousTimeRequired, 0};

    // One step with the gas time stamp t (ns): the two flags and the continuous-time
    // progress (0..1) out. Earlier or repeated time stamps are not errors: earlier is
    // an interruption, equal a continuous step of length 0.
    void step(int64_t t, uint8_t& accumulatedFlag, uint8_t& continuousFlag, float& progress);
    // Derive maxGap and continuousTimeRequired from the interval (10 ms units), or
    // stop the continuous clock for 65535 (the accumulated clock is kept).
    void setInterval(uint16_t interval);

    // Reading a configuration does not re-derive maxGap.
    VORN_SECTION_FIELDS(kChannelId, VORN_STATUS_TRACKER_CONFIGURATION, VORN_STATUS_TRACKER_STATE)
};

}  // namespace vorn
