// Channel 2: the air-quality indices and the estimates derived from them, the
// progress blending after a measurement gap, and the estimator's sections. Single
// precision throughout, in the written evaluation order.
#include "modules/iaq_estimator.h"

#include <cmath>

#include "identifiers/identifiers.h"
#include "math/f32.h"
#include "math/numeric.h"

namespace vorn {

namespace {

// Configuration defaults.
constexpr uint16_t kDefaultIndexUpperLimit = 500;
constexpr uint8_t kDefaultIndexLowerLimit = 0;
constexpr uint16_t kDefaultIndexScale = 225;
constexpr uint8_t kDefaultIndexOffset = 25;
constexpr float kDefaultLinearSlopeLow = 4.0f;
constexpr float kDefaultLinearSlopeHigh = 10.0f;
constexpr uint16_t kDefaultLinearBase = 400;
constexpr float kDefaultExpValueHigh = 15.0f;
constexpr float kDefaultExpValueLow = 0.5f;
// Fixed: not in the configuration section.
constexpr uint16_t kExpUpperLimit = 1000;
constexpr float kLinearKnee = 66.66f;  // where the two linear pieces meet with the defaults
// The held indices after construction and after an output reset.
constexpr float kRestingIndex = 25.0f;

constexpr float kExpFloor = 0.1f;
constexpr float kPercentFull = 100.0f;

enum Result : std::size_t { kIndex, kFixedScale, kLinear, kExponential, kGasPercent };

}  // namespace

IaqEstimator::IaqEstimator()
    : indexUpperLimit(kDefaultIndexUpperLimit),
      indexLowerLimit(kDefaultIndexLowerLimit),
      indexScale(kDefaultIndexScale),
      indexOffset(kDefaultIndexOffset),
      fixedSlope(0.0f),
      linearSlopeLow(kDefaultLinearSlopeLow),
      linearSlopeHigh(kDefaultLinearSlopeHigh),
      linearBase(kDefaultLinearBase),
      expValueHigh(kDefaultExpValueHigh),
      expValueLow(kDefaultExpValueLow),
      expUpperLimit(kExpUpperLimit),
      expLogSlope(0.0f),
      expLogIntercept(0.0f),
      linearKnee(kLinearKnee),
      heldIndex(kRestingIndex),
      heldFixedScaleIndex(kRestingIndex) {}

void IaqEstimator::resetLearning() {
    heldIndex = kRestingIndex;
    heldFixedScaleIndex = kRestingIndex;
}

void IaqEstimator::setInterval(uint16_t interval) {
    if (interval == kIntervalOff) return;
    const float logRatio = f32::log10(bandRatio(interval));
    fixedSlope = static_cast<float>(indexScale) / std::fabs(logRatio);

    const float logHigh = f32::log10(expValueHigh);
    const float logLow = f32::log10(expValueLow);
    expLogSlope = (logHigh - logLow) / static_cast<float>(indexScale);
    const int indexAtHigh = indexScale + indexOffset;  // formed in integers
    expLogIntercept = logHigh - static_cast<float>(indexAtHigh) * expLogSlope;
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
    const float offset = static_cast<float>(indexOffset);
    const float lowerLimit = static_cast<float>(indexLowerLimit);
    const float upperLimit = static_cast<float>(indexUpperLimit);

    const float scaled =
        bandScaledIndex(u1, bounds.lower[0], x, static_cast<float>(indexScale), offset, upperLimit);
    float index = std::fmin(upperLimit, std::fmax(lowerLimit, scaled));
    float fixedScale = std::fmax(lowerLimit, (u1 - x) * fixedSlope + offset);

    if (progress < 1.0f) {
        const float weight = progress * progress;
        index = blend(heldIndex, index, weight);
        fixedScale = blend(heldFixedScaleIndex, fixedScale, weight);
    } else {
        heldIndex = index;
        heldFixedScaleIndex = fixedScale;
    }

    const float s1 = bounds.status[0];
    const float s2 = bounds.status[1];
    const float base = static_cast<float>(linearBase);
    const float linear =
        linearKnee < fixedScale ? fixedScale * linearSlopeHigh : fixedScale * linearSlopeLow + base;
    const float exponential = f32::pow(10.0f, fixedScale * expLogSlope + expLogIntercept);
    const float percent = gasPercent(bounds.upper[1], bounds.lower[1], x);

    results[kIndex] = {index, s1};
    results[kFixedScale] = {fixedScale, s1};
    results[kLinear] = {std::fmax(base, linear), s1};
    results[kExponential] = {
        std::fmin(static_cast<float>(expUpperLimit), std::fmax(kExpFloor, exponential)), s1};
    results[kGasPercent] = {std::fmin(kPercentFull, percent), s2};
}

}  // namespace vorn
