// Sensor status tracker: limits per interval, and the two clocks across gaps and
// extreme time stamps.
#include <gtest/gtest.h>

#include "identifiers/identifiers.h"
#include "modules/sensor_status_tracker.h"
#include "vorn/vorn.h"

namespace vorn {
namespace {

constexpr int64_t kSecond = 1'000'000'000;

// Steps at t and returns the continuous-time progress (the flags stay in the record).
float step(SensorStatusTracker& tracker, int64_t t) {
    uint8_t accumulated = 0, continuous = 0;
    float progress = -1.0f;
    tracker.step(t, accumulated, continuous, progress);
    return progress;
}

SensorStatusTracker trackerAt(uint16_t interval, int8_t gapFactor = 1) {
    SensorStatusTracker tracker;
    tracker.settings.gapFactor = gapFactor;
    tracker.setInterval(interval);
    return tracker;
}

TEST(StatusTracker, IntervalSetsLimitsAndTheFlagLatchesOnTheSinglePrecisionSum) {
    struct Case {
        uint16_t interval;
        int64_t maxGap;
        float required;
        int increments;  // to the flag at exact spacing, after the first step
    };
    // At 3 s the f32 sum of 100 increments (299,999,723,520) is still below 3.0e11f.
    for (const Case& c :
         {Case{100, kSecond * 3 / 2, 3.0e11f, 301}, Case{300, kSecond * 9 / 2, 3.0e11f, 101},
          Case{1800, 27 * kSecond, 6.0e10f, 4}, Case{30000, 450 * kSecond, 1.2e12f, 4},
          Case{3000, 45 * kSecond, 1.2e12f, 40}}) {
        SensorStatusTracker tracker = trackerAt(c.interval);
        EXPECT_EQ(tracker.derived.maxGap, c.maxGap);
        EXPECT_EQ(tracker.derived.continuousTimeRequired, c.required);
        int64_t t = 10 * kSecond;  // the first step is an interruption: nothing counted
        int increments = 0;
        for (step(tracker, t); tracker.learnt.continuousTimeReached == 0; ++increments) {
            t += int64_t{c.interval} * 10'000'000;
            step(tracker, t);
        }
        EXPECT_EQ(increments, c.increments) << c.interval;
        EXPECT_EQ(tracker.learnt.accumulatedTimeReached, 1);  // requirement 0.0
    }
    EXPECT_EQ(trackerAt(300, 0).derived.maxGap, 0);
    EXPECT_EQ(trackerAt(300, -1).derived.maxGap, 21'474'831'980'000'000);      // about 248 days
    EXPECT_EQ(trackerAt(30000, -128).derived.maxGap, 21'417'236'480'000'000);  // the u32 sum wraps
}

TEST(StatusTracker, InterruptionsResetOnlyTheContinuousClockAndNeverWrap) {
    const int64_t t0 = 103 * kSecond;
    for (const int64_t delta : {kSecond * 9 / 2, kSecond * 9 / 2 + 1, int64_t{0}, int64_t{-1}}) {
        const bool continuous = delta >= 0 && delta <= kSecond * 9 / 2;
        const float increment = continuous ? static_cast<float>(delta) : 0.0f;
        SensorStatusTracker tracker = trackerAt(300);
        tracker.settings.accumulatedTimeRequired = 3.6e12f;  // one hour: keeps the clock counting
        step(tracker, t0 - 3 * kSecond);
        step(tracker, t0);
        EXPECT_EQ(step(tracker, t0 + delta), !continuous ? 0.0f : (3.0e9f + increment) / 3.0e11f);
        EXPECT_EQ(tracker.learnt.accumulatedTime, 3.0e9f + increment) << delta;
    }
    SensorStatusTracker tracker = trackerAt(300, -1);  // a gap limit of 248 days
    tracker.settings.accumulatedTimeRequired = 1.0e12f;
    for (int64_t t = 1; t <= 3; ++t) step(tracker, t * 3 * kSecond);
    tracker.learnt.continuousTimeReached = true;
    tracker.setInterval(kIntervalOff);
    EXPECT_FALSE(tracker.learnt.continuousTimeReached);
    EXPECT_EQ(tracker.learnt.lastTimestamp, 0);
    EXPECT_EQ(tracker.learnt.continuousTime, 0.0f);
    EXPECT_EQ(tracker.learnt.accumulatedTime, 6.0e9f);  // kept across the stop
    // True distances beyond the int64 range are interruptions, never wrapped.
    tracker.learnt.lastTimestamp = INT64_MIN + 5;
    for (int64_t t : {INT64_MAX, INT64_MIN, int64_t{0}}) {
        step(tracker, t);
        EXPECT_EQ(tracker.learnt.continuousTime, 0.0f) << t;
        EXPECT_EQ(tracker.learnt.lastTimestamp, t > 0 ? t : 1);  // 0 keeps meaning "none"
    }
    step(tracker, INT64_MAX - 1);
    step(tracker, INT64_MAX);
    EXPECT_EQ(tracker.learnt.continuousTime, 1.0f);
}

}  // namespace
}  // namespace vorn
