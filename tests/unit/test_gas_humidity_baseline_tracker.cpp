// Baseline tracker: what a device in an ordinary room never shows the library (other
// intervals, readings outside the learning range, hold-off events, grading at the edges
// of the band); its everyday arithmetic is pinned by the bit-identity week.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <limits>

#include "modules/gas_humidity_baseline_tracker.h"
#include "vorn/vorn.h"

namespace vorn {
namespace {

// With zero humidity the absolute humidity floors at 0.01, so x = logGas - 2 * slope;
// at interval 300 (slope 0.75) x = logGas - 1.5 exactly.
struct Tracker : ::testing::Test {
    GasHumidityBaselineTracker t;
    BaselineBounds b{};
    float x = 0.0f;
    void SetUp() override { t.setInterval(300); }
    float y() const { return t.derived.rangeScale * 0.09691001f; }  // the narrowest band
    void step(float logGas, float temperature = 25.0f, float humidity = 0.0f, uint8_t acc = 1,
              uint8_t cont = 1, bool heating = false, float event = 0.0f) {
        t.step(acc, cont, heating, b, x, logGas, temperature, humidity, event);
    }
};

struct IntervalCase {
    uint16_t interval;
    uint16_t stepSeconds;
    uint32_t rangeScaleBits;
    uint8_t threshold;
    float slope;  // with slopes 1, 2, 3, 4 configured
};

class TrackerInterval : public ::testing::TestWithParam<IntervalCase> {};

TEST_P(TrackerInterval, DerivesStepScaleThresholdAndSlope) {
    const IntervalCase c = GetParam();
    GasHumidityBaselineTracker t;
    t.settings.humiditySlope = {1.0f, 2.0f, 3.0f, 4.0f};
    t.setInterval(c.interval);
    EXPECT_EQ(t.derived.samplIntvl, c.interval);
    EXPECT_EQ(t.derived.stepSeconds, c.stepSeconds);
    EXPECT_EQ(std::bit_cast<uint32_t>(t.derived.rangeScale), c.rangeScaleBits);
    EXPECT_EQ(t.derived.inBandThreshold, c.threshold);
    BaselineBounds b{};
    float x = 0.0f;
    t.step(1, 1, false, b, x, 10.0f, 25.0f, 0.0f, 0.0f);
    EXPECT_EQ(x, 10.0f - 2.0f * c.slope);
}

INSTANTIATE_TEST_SUITE_P(
    Intervals, TrackerInterval,
    ::testing::Values(IntervalCase{100, 1, 0x3f800000, 34, 4.0f},     // 1.0
                      IntervalCase{300, 3, 0x3f5fa816, 20, 3.0f},     // 0.8736585
                      IntervalCase{1800, 18, 0x3f800000, 8, 2.0f},    // 1.0
                      IntervalCase{30000, 300, 0x3efffee5, 2, 1.0f},  // 0.4999916
                      IntervalCase{150, 2, 0x3efffee5, 28, 1.0f},     // 1.5 s rounds up
                      IntervalCase{0, 0, 0x3efffee5, 255, 1.0f}));    // 2*sqrt(65535) low byte

struct GateCase {
    float temperature, humidity;
    uint8_t acc, cont;
    bool heating;
    bool learns;
    float status;
};

class TrackerGate : public Tracker, public ::testing::WithParamInterface<GateCase> {};

TEST_P(TrackerGate, LearnsAndGradesOnlyWhenAllowed) {
    const GateCase c = GetParam();
    t.learnt.trackStatus = {2.0f, 2.0f};
    t.learnt.inBandCount = {7, 7};
    step(6.5f, c.temperature, c.humidity, c.acc, c.cont, c.heating);
    EXPECT_EQ(t.learnt.robustMax[0] != 0.0f, c.learns);
    EXPECT_EQ(t.learnt.trackStatus[1], c.status);
    EXPECT_EQ(t.learnt.inBandCount[1], c.status == 2.0f ? 7 : 20);
    // The outputs are written whatever the gate says.
    EXPECT_EQ(b.upper[0], x);
    EXPECT_EQ(b.status[0], c.status);
}

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
INSTANTIATE_TEST_SUITE_P(Gates, TrackerGate,
                         ::testing::Values(GateCase{-40.0f, 0.0f, 1, 1, false, true, 1.0f},
                                           GateCase{85.0f, 100.0f, 1, 1, false, true, 1.0f},
                                           GateCase{85.01f, 50.0f, 1, 1, false, false, 1.0f},
                                           GateCase{-40.01f, 50.0f, 1, 1, false, false, 1.0f},
                                           GateCase{25.0f, 100.01f, 1, 1, false, false, 1.0f},
                                           GateCase{kNaN, 50.0f, 1, 1, false, false, 1.0f},
                                           GateCase{25.0f, 50.0f, 0, 1, false, true, 0.0f},
                                           GateCase{25.0f, 50.0f, 1, 0, false, false, 0.0f},
                                           GateCase{25.0f, 50.0f, 1, 1, true, false, 2.0f}));

// Temperature 90 C is out of range: bounds stay put and only grading runs.
TEST_F(Tracker, GradingCountsInBandStepsFromTwoSaturatesAndRestartsOutside) {
    t.learnt.robustMax = {5.5f, 5.5f};
    t.learnt.robustMin = {4.5f, 4.5f};
    for (int i = 1; i <= 300; ++i) {
        step(6.5f, 90.0f);  // x = 5.0, the band's centre; a fresh track has counted 2
        EXPECT_EQ(t.learnt.inBandCount[0], std::min(i + 2, 255)) << i;
        EXPECT_EQ(t.learnt.trackStatus[0], i + 2 < 20 ? 2.0f : 3.0f) << i;
    }
    step(7.5f, 90.0f);  // x = 6.0, outside
    EXPECT_EQ(t.learnt.trackStatus[0], 2.0f);
    EXPECT_EQ(t.learnt.inBandCount[0], 0);
    EXPECT_EQ(t.learnt.robustMax[0], 5.5f);
}

TEST_F(Tracker, LowerBoundStaysANarrowestBandBelowTheUpper) {
    t.learnt.robustMax = {5.0f, 5.0f};
    t.derived.relaxFactor = {0.5f, 0.5f};
    float lower = 4.0f;
    t.filterRobustMaxMin(lower, true, 1, 10.0f);  // relaxing halfway up would reach 7
    EXPECT_EQ(lower, 5.0f - y());
}

TEST_F(Tracker, SettledTrackToleratesANarrowerBandAtItsCentre) {
    struct Case {
        float previous, xOffset, status;  // x = l + xOffset * width
    };
    const float width = 1.2f * y();
    // Off the centre the tolerance shrinks with the square of the distance: an eighth of
    // the band in still passes, a fiftieth does not.
    for (const Case c : {Case{3.0f, 0.5f, 3.0f}, Case{2.0f, 0.5f, 1.0f}, Case{3.0f, 0.125f, 3.0f},
                         Case{3.0f, 0.02f, 1.0f}}) {
        t.learnt.robustMax = {5.0f + width, 5.0f + width};
        t.learnt.robustMin = {5.0f, 5.0f};
        t.learnt.trackStatus = {c.previous, c.previous};
        t.learnt.inBandCount = {100, 100};
        step(6.5f + c.xOffset * width, 90.0f);
        EXPECT_EQ(t.learnt.trackStatus[0], c.status) << c.previous << " " << c.xOffset;
    }
}

TEST_F(Tracker, HoldOffEventsMoveTowardTargetAndNeverWrap) {
    struct Case {
        uint16_t remaining, target;
        float exponent, event;
        uint16_t after;
    };
    const float ln2 = std::log(2.0f);
    for (const Case c : {Case{3600, 0, ln2, 1.0f, 1800}, Case{0, 1001, ln2, 1.0f, 501},
                         Case{100, 7, -20.0f, 1.0f, 0}, Case{9, 4000, 0.0f, 0.5f, 6},
                         Case{2, 4000, 0.0f, -1.0f, 0}, Case{9, 4000, 0.0f, 3.0f, 6},
                         Case{9, 4000, 0.0f, 2.9f, 4000}, Case{100, 65535, -1.0f, 1.0f, 65535}}) {
        t.learnt.holdOffRemaining = c.remaining;
        t.settings.holdOffTarget = {c.target, c.target};
        t.settings.holdOffExponent = {c.exponent, c.exponent};
        step(6.5f, 25.0f, 0.0f, 1, 1, false, c.event);
        EXPECT_EQ(t.learnt.holdOffRemaining, c.after) << c.remaining << " " << c.event;
    }
}

}  // namespace
}  // namespace vorn
