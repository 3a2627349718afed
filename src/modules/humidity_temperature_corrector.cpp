// Humidity temperature corrector: smoothed chip temperature, humidity correction and
// dew-point-preserving conversion, and the module's sections.
#include "math/fp_rules.h"

#include "modules/humidity_temperature_corrector.h"

#include "math/numeric.h"

namespace vorn {

namespace {

// Bandwidth of the chip-temperature smoother (Hz).
constexpr float kTemperatureBandwidth = 0.012746f;
constexpr float kUnitsPerSecond = 100.0f;  // one interval unit is 10 ms

// log of 0 % would be -infinity; the smallest humidity taken is just above it.
constexpr float kMinHumidity = 0.0001f;  // %
constexpr float kMaxHumidity = 100.0f;   // %

float clampHumidity(float humidity) {
    if (humidity <= 0.0f) return kMinHumidity;
    if (humidity > kMaxHumidity) return kMaxHumidity;
    return humidity;
}

}  // namespace

float HumidityTemperatureCorrector::step(float temperature, float compensatedTemperature,
                                         float humidity) {
    float& smoothed = learnt.smoothedTemperature;
    const float base = smoothed != 0.0f ? smoothed : temperature;
    smoothed = (temperature - base) * derived.temperatureCoeff + base;

    const float clamped = clampHumidity(humidity);
    const float corrected = polyval(settings.humidityPoly, clamped) + clamped;
    const float converted = convertHumidity(smoothed, compensatedTemperature, corrected);
    return converted > kMaxHumidity ? kMaxHumidity : converted;
}

void HumidityTemperatureCorrector::setInterval(uint16_t interval) {
    const float halfSampleRate = (kUnitsPerSecond / static_cast<float>(interval)) * 0.5f;  // Hz
    float w = kTemperatureBandwidth / halfSampleRate;
    if (w > 1.0f) w = 1.0f;
    derived.temperatureCoeff = coeffFromBandwidth(w);
}

}  // namespace vorn
