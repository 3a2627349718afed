// Two helpers of the measurement scheduler: whether an input is due at the current
// schedule phase, and the heater on-time of a gas measurement taken off the
// regular rhythm, which grows with the time the sensor layer has had to cool down.
#include "math/fp_rules.h"

#include <bit>
#include <cmath>

#include "engine/engine.h"
#include "math/f32.h"
#include "math/numeric.h"

namespace vorn {
namespace {

// On-time polynomial in seconds since the previous gas sample, highest power
// first; the exact single-precision values the on-times are calibrated with.
constexpr float kModHeatC4 = std::bit_cast<float>(0xB0078259u);  // -4.929795e-10
constexpr float kModHeatC3 = std::bit_cast<float>(0x34C2E0DFu);  // 3.629893e-7
constexpr float kModHeatC2 = std::bit_cast<float>(0xB8D96737u);  // -0.000103665916
constexpr float kModHeatC1 = std::bit_cast<float>(0x3C868E5Au);  // 0.0164253
constexpr float kModHeatC0 = std::bit_cast<float>(0x3EE4926Au);  // 0.44642955
constexpr float kMsPerSecond = 1000.0f;
constexpr double kMaxOnTimeMs = 65535.0;

}  // namespace

bool Engine::checkIfSensorRequired(uint8_t id, SensorSettings& settings, uint16_t& interval) const {
    interval = hub.inputInterval(id);
    if (interval == kIntervalOff) return false;
    if (remainderOrSelf(schedulePhase, interval) != 0 && triggerPending == 0) return false;
    settings.input_mask |= 1u << (id - 1);
    settings.measure_now = 1;
    return true;
}

// Negative and NaN results give 0 ms; results beyond the u16 range saturate (the
// polynomial peaks near 1.9 s, so neither happens for a sane time since the last
// sample).
uint16_t Engine::getModHeatingDuration(float seconds) {
    const float x = seconds;
    const float p4 = f32::fourth(x);
    const float p3 = f32::cube(x);
    const float sum =
        p4 * kModHeatC4 + p3 * kModHeatC3 + (x * x) * kModHeatC2 + x * kModHeatC1 + kModHeatC0;
    const double ms = roundd(static_cast<double>(sum * kMsPerSecond));
    if (!(ms > 0.0)) return 0;
    if (ms >= kMaxOnTimeMs) return static_cast<uint16_t>(kMaxOnTimeMs);
    return static_cast<uint16_t>(ms);
}

}  // namespace vorn
