// Channel 1: humidity compensation of log gas, the two robust bands of the
// compensated signal, their grading, and the tracker's configuration and state
// sections. All arithmetic is single precision in the written evaluation order:
// the saved bands must come out bit for bit the same on every build.
#include "math/fp_rules.h"

#include "modules/gas_humidity_baseline_tracker.h"

#include <algorithm>
#include <cmath>

#include "identifiers/identifiers.h"
#include "math/f32.h"
#include "math/numeric.h"

namespace vorn {

namespace {

constexpr uint8_t kInBandCountMax = 255;

// Magnus formula for the saturation vapour pressure, and the gas constant of
// water vapour folded into g/m3.
constexpr float kMagnusBeta = 17.62f;
constexpr float kMagnusLambda = 243.12f;        // C
constexpr float kSaturationPressure0 = 6.112f;  // hPa at 0 C
constexpr float kKelvinOffset = 273.15f;
constexpr float kVapourFactor = 216.7f;
constexpr float kMinAbsoluteHumidity = 0.01f;  // g/m3: keeps log10 finite

constexpr float kLog10Ratio125 = 0.09691001f;     // log10(1.25): the narrowest band
constexpr float kLog10Ratio250 = 0.39794f;        // log10(2.5): full rise over the rise time
constexpr float kLog10Ratio5Over3 = 0.22184873f;  // log10(5/3): band ratio of scale 1

constexpr float kOpenMargin = 0.3f;  // band widening needed before a track can grade 3
constexpr float kStatusNone = 0.0f;
constexpr float kStatusNarrow = 1.0f;
constexpr float kStatusUnsettled = 2.0f;
constexpr float kStatusSettled = 3.0f;

// Samples in the nominal 300 s grading window: 30000 in 10 ms units.
constexpr uint32_t kGradingWindow = 30000;

// The narrowest band a track keeps between its bounds, y.
float narrowestBand(const GasHumidityBaselineTracker& t) {
    return t.derived.rangeScale * kLog10Ratio125;
}

// Humidity slope of the compensation at the applied interval.
float humiditySlopeFor(const GasHumidityBaselineTracker& t) {
    switch (t.derived.samplIntvl) {
        case 300:
            return t.settings.humiditySlope[2];
        case 1800:
            return t.settings.humiditySlope[1];
        case 100:
            return t.settings.humiditySlope[3];
        default:
            return t.settings.humiditySlope[0];
    }
}

float absoluteHumidity(float temperature, float humidity) {
    const float a = (temperature * kMagnusBeta) / (temperature + kMagnusLambda);
    float ah = ((humidity * kSaturationPressure0) / 100.0f) * f32::exp(a) /
               (temperature + kKelvinOffset) * kVapourFactor;
    if (!(ah > kMinAbsoluteHumidity)) ah = kMinAbsoluteHumidity;
    return ah;
}

// Event kind 1 or 2 named by the baseline index, else 0 (no event).
uint8_t eventKind(float baselineIndex) {
    if (!(baselineIndex >= 1.0f && baselineIndex < 3.0f)) return 0;
    return static_cast<uint8_t>(baselineIndex);
}

// 30000 / interval rounded to nearest, halves up, in integers; 65535 for 0.
uint32_t samplesPerWindow(uint16_t interval) {
    if (interval == 0) return kIntervalOff;
    const uint32_t quotient = kGradingWindow / interval;
    const uint32_t remainder = kGradingWindow % interval;
    const uint32_t half = (interval + 1u) / 2u;
    return quotient + (remainder >= half ? 1u : 0u);
}

}  // namespace

void GasHumidityBaselineTracker::resetLearning() {
    learnt = kFresh;
    derived = kNoInterval;
    refreshFilterCoefficients();
}

void GasHumidityBaselineTracker::refreshFilterCoefficients() {
    const float dt = static_cast<float>(derived.samplIntvl) / 100.0f;
    derived.riseStep = (derived.rangeScale * kLog10Ratio250 / settings.riseTime) * dt;
    for (std::size_t k = 0; k < derived.relaxFactor.size(); ++k) {
        derived.relaxFactor[k] = 1.0f - f32::exp(-dt / settings.decayTimeConstant[k]);
    }
}

void GasHumidityBaselineTracker::setInterval(uint16_t interval) {
    if (interval == kIntervalOff || interval == derived.samplIntvl) return;
    derived.samplIntvl = interval;
    derived.stepSeconds =
        static_cast<uint16_t>(interval / 100u + (interval % 100u >= 50u ? 1u : 0u));

    const float logRatio = f32::log10(bandRatio(interval));
    derived.rangeScale = std::fabs(logRatio) / kLog10Ratio5Over3;

    const float root = f32::sqrt(static_cast<float>(samplesPerWindow(interval)));
    // The threshold keeps only the low byte, so 511 (interval 0) becomes 255.
    const auto threshold = static_cast<uint32_t>(2.0f * root);  // root >= 0: truncation floors
    derived.inBandThreshold = static_cast<uint8_t>(threshold & 0xFFu);
    refreshFilterCoefficients();
}

void GasHumidityBaselineTracker::filterRobustMaxMin(float& bound, bool lowerBound, uint8_t track,
                                                    float x) const {
    if (track != 1 && track != 2) return;
    const std::size_t k = track - 1u;
    const float y = narrowestBand(*this);
    const float rise = derived.riseStep;
    const float relax = derived.relaxFactor[k];

    // A bound follows the signal outward at most one rise step per sample and
    // relaxes inward with the track's time constant; the two bounds of a track
    // never come closer than y.
    if (!lowerBound) {
        const float d = x - bound;
        const float next = d > 0.0f ? bound + f32::min(d, rise) : bound + d * relax;
        bound = f32::max(next, learnt.robustMin[k] + y);
    } else {
        const float d = bound - x;
        const float next = d > 0.0f ? bound - f32::min(d, rise) : bound + (x - bound) * relax;
        bound = f32::min(next, learnt.robustMax[k] - y);
    }
}

namespace {

// Moves a track's bounds for one sample: seed, then filter upper then lower.
void trackBounds(GasHumidityBaselineTracker& t, std::size_t k, float x) {
    const float y = narrowestBand(t);
    const auto track = static_cast<uint8_t>(k + 1);
    if (t.learnt.robustMax[k] == 0.0f) t.learnt.robustMax[k] = x;
    // The lower bound is seeded only once the signal lies clearly below the upper.
    if (t.learnt.robustMin[k] == 0.0f && t.learnt.robustMax[k] - y > x) t.learnt.robustMin[k] = x;
    t.filterRobustMaxMin(t.learnt.robustMax[k], false, track, x);
    if (t.learnt.robustMin[k] != 0.0f) t.filterRobustMaxMin(t.learnt.robustMin[k], true, track, x);
}

// Moves the hold-off countdown toward the event's target.
void applyEvent(GasHumidityBaselineTracker& t, uint8_t kind) {
    const std::size_t e = kind - 1u;
    const int32_t distance = static_cast<int32_t>(t.learnt.holdOffRemaining) -
                             static_cast<int32_t>(t.settings.holdOffTarget[e]);
    const float move =
        f32::round(static_cast<float>(distance) / f32::exp(t.settings.holdOffExponent[e]));
    const float next = static_cast<float>(t.learnt.holdOffRemaining) - move;
    if (std::isnan(next)) return;
    t.learnt.holdOffRemaining = static_cast<uint16_t>(std::clamp(next, 0.0f, 65535.0f));
}

void trackingStep(GasHumidityBaselineTracker& t, float x, float baselineIndex) {
    const uint8_t kind = eventKind(baselineIndex);
    if (kind != 0) {
        applyEvent(t, kind);
        return;
    }
    if (t.learnt.holdOffRemaining != 0) {
        t.learnt.holdOffRemaining =
            t.learnt.holdOffRemaining > t.derived.stepSeconds
                ? static_cast<uint16_t>(t.learnt.holdOffRemaining - t.derived.stepSeconds)
                : uint16_t{0};
        return;
    }
    trackBounds(t, 0, x);
    trackBounds(t, 1, x);
}

// Grades one track from its band and the signal's place in it.
void classifyTrack(GasHumidityBaselineTracker& t, std::size_t k, float x, bool flagsSet) {
    const float y = narrowestBand(t);
    const float u = t.learnt.robustMax[k];
    const float l = t.learnt.robustMin[k];
    const bool outside = u <= x || l >= x;
    const float width = l != 0.0f ? f32::max(u - l, y) : y;
    // 0 at or beyond the band's edges, rising linearly to 1 at its centre.
    const float centrality =
        f32::min(2.0f * f32::min(f32::max(u - x, 0.0f), f32::max(x - l, 0.0f)) / width, 1.0f);

    if (!flagsSet) {
        t.learnt.trackStatus[k] = kStatusNone;
        t.learnt.inBandCount[k] = t.derived.inBandThreshold;
        return;
    }
    float margin = kOpenMargin;
    if (t.learnt.trackStatus[k] == kStatusSettled) {
        // A settled track tolerates a narrower band: 0.1 at the centre, 0.25 at the edges.
        const float off = 1.0f - centrality;
        margin = off * off * 0.75f * 0.2f + 0.1f;
    }
    if (u - l < y * margin + y || l == 0.0f) {
        t.learnt.trackStatus[k] = kStatusNarrow;
        t.learnt.inBandCount[k] = t.derived.inBandThreshold;
    } else if (outside) {
        t.learnt.trackStatus[k] = kStatusUnsettled;
        t.learnt.inBandCount[k] = 0;
    } else if (t.learnt.inBandCount[k] == kInBandCountMax) {
        t.learnt.trackStatus[k] = kStatusSettled;
    } else {
        t.learnt.inBandCount[k] = static_cast<uint8_t>(t.learnt.inBandCount[k] + 1u);
        t.learnt.trackStatus[k] =
            t.learnt.inBandCount[k] < t.derived.inBandThreshold ? kStatusUnsettled : kStatusSettled;
    }
}

void writeBounds(const GasHumidityBaselineTracker& t, float x, BaselineBounds& bounds) {
    const float y = narrowestBand(t);
    for (std::size_t k = 0; k < 2; ++k) {
        const float upper = t.learnt.robustMax[k] != 0.0f ? t.learnt.robustMax[k] : x;
        bounds.upper[k] = upper;
        bounds.lower[k] = t.learnt.robustMin[k] != 0.0f ? t.learnt.robustMin[k] : upper - y;
        bounds.status[k] = t.learnt.trackStatus[k];
    }
}

}  // namespace

void GasHumidityBaselineTracker::step(uint8_t accumulatedFlag, uint8_t continuousFlag,
                                      bool modifiedHeating, BaselineBounds& bounds,
                                      float& compensated, float logGas, float temperature,
                                      float humidity, float baselineIndex) {
    const float logAh = f32::log10(absoluteHumidity(temperature, humidity));
    const float x = humiditySlopeFor(*this) * logAh + logGas;
    compensated = x;

    const bool inRange = temperature <= static_cast<float>(settings.temperatureMax) &&
                         temperature >= static_cast<float>(settings.temperatureMin) &&
                         humidity <= static_cast<float>(settings.humidityMax) &&
                         humidity >= static_cast<float>(settings.humidityMin);
    const bool learning = continuousFlag != 0 && !modifiedHeating;
    if (!modifiedHeating) {
        if (inRange && learning) trackingStep(*this, x, baselineIndex);
        const bool flagsSet = accumulatedFlag != 0 && continuousFlag != 0;
        classifyTrack(*this, 0, x, flagsSet);
        classifyTrack(*this, 1, x, flagsSet);
    }
    writeBounds(*this, x, bounds);
}

}  // namespace vorn
