// Channel 2: the air-quality indices and the estimates derived from them, the
// progress blending after a measurement gap, and the estimator's sections. Single
// precision throughout, in the written evaluation order.
#include "math/fp_rules.h"

#include "modules/iaq_estimator.h"

#include <cmath>

#include "identifiers/identifiers.h"
#include "math/f32.h"
#include "math/numeric.h"

namespace vorn {

namespace {

// Fixed: not in the configuration section.
constexpr uint16_t kExpUpperLimit = 1000;
constexpr float kLinearKnee = 66.66f;  // where the two linear pieces meet with the defaults

constexpr float kExpFloor = 0.1f;
constexpr float kPercentFull = 100.0f;

enum Result : std::size_t { kIndex, kFixedScale, kLinear, kExponential, kGasPercent };

}  // namespace

void IaqEstimator::resetLearning() {
    learnt = kResting;
}

void IaqEstimator::setInterval(uint16_t interval) {
    if (interval == kIntervalOff) return;
    const float logRatio = f32::log10(bandRatio(interval));
    derived.fixedSlope = static_cast<float>(settings.indexScale) / std::fabs(logRatio);

    const float logHigh = f32::log10(settings.expValueHigh);
    const float logLow = f32::log10(settings.expValueLow);
    derived.expLogSlope = (logHigh - logLow) / static_cast<float>(settings.indexScale);
    const int indexAtHigh = settings.indexScale + settings.indexOffset;  // formed in integers
    derived.expLogIntercept = logHigh - static_cast<float>(indexAtHigh) * derived.expLogSlope;
}

namespace {

// Band-scaled index before its limits: indexOffset at the upper bound, growing by
// indexScale across the band. A band of zero width is a step to the ceiling.
float bandScaledIndex(float upper, float lower, float x, float scale, float offset, float ceiling) {
    const float width = upper - lower;
    if (width == 0.0f) return x >= upper ? offset : ceiling;
    return (upper - x) / width * scale + offset;
}

// Position of x between the bounds of the slow track, in percent from the top; a
// band of zero width is a step from 0 to 100.
float gasPercent(float upper, float lower, float x) {
    const float width = upper - lower;
    if (width == 0.0f) return x >= upper ? 0.0f : kPercentFull;
    return (upper - x) / width * kPercentFull;
}

// A rising index is pulled toward the value held at full progress, weight p^2.
float blend(float held, float index, float weight) {
    if (!(held < index)) return index;
    return (1.0f - weight) * held + weight * index;
}

}  // namespace

void IaqEstimator::step(const BaselineBounds& bounds, IaqResults& results, float compensated,
                        float progress) {
    const float x = compensated;
    const float u1 = bounds.upper[0];
    const float offset = static_cast<float>(settings.indexOffset);
    const float lowerLimit = static_cast<float>(settings.indexLowerLimit);
    const float upperLimit = static_cast<float>(settings.indexUpperLimit);

    const float scaled = bandScaledIndex(
        u1, bounds.lower[0], x, static_cast<float>(settings.indexScale), offset, upperLimit);
    float index = f32::min(upperLimit, f32::max(lowerLimit, scaled));
    float fixedScale = f32::max(lowerLimit, (u1 - x) * derived.fixedSlope + offset);

    if (progress < 1.0f) {
        const float weight = progress * progress;
        index = blend(learnt.heldIndex, index, weight);
        fixedScale = blend(learnt.heldFixedScaleIndex, fixedScale, weight);
    } else {
        learnt.heldIndex = index;
        learnt.heldFixedScaleIndex = fixedScale;
    }

    const float s1 = bounds.status[0];
    const float s2 = bounds.status[1];
    const float base = static_cast<float>(settings.linearBase);
    const float linear = kLinearKnee < fixedScale ? fixedScale * settings.linearSlopeHigh
                                                  : fixedScale * settings.linearSlopeLow + base;
    const float exponential =
        f32::exp10(fixedScale * derived.expLogSlope + derived.expLogIntercept);
    const float percent = gasPercent(bounds.upper[1], bounds.lower[1], x);

    results[kIndex] = {index, s1};
    results[kFixedScale] = {fixedScale, s1};
    results[kLinear] = {f32::max(base, linear), s1};
    results[kExponential] = {
        f32::min(static_cast<float>(kExpUpperLimit), f32::max(kExpFloor, exponential)), s1};
    results[kGasPercent] = {f32::min(kPercentFull, percent), s2};
}

}  // namespace vorn
