// Gas humidity pre-processor: floors and logs the gas resistance, smooths the three
// signals and derives the smoothing coefficients from the bandwidths.
#include "math/fp_rules.h"

#include "modules/gas_humidity_pre_processor.h"

#include "math/f32.h"

namespace vorn {

namespace {

// Below this resistance (ohm) the reading is not trusted; log10 of it is 1.0, so a
// seeded log gas state never returns to 0.0 (the "not seeded" mark) by itself.
constexpr float kGasResistanceFloor = 10.0f;
constexpr float kUnitsPerSecond = 100.0f;  // one interval unit is 10 ms

}  // namespace

void GasHumidityPreProcessor::step(float& logGas, float& temperature, float& humidity,
                                   float gasResistance, float rawTemperature, float rawHumidity) {
    // Written so that NaN also takes the floor.
    const float gas = gasResistance > kGasResistanceFloor ? gasResistance : kGasResistanceFloor;
    const Vec3 x = {f32::log10(gas), rawTemperature, rawHumidity};

    Vec3& state = learnt.smoothed;
    if (state[0] == 0.0f) state = x;
    for (std::size_t i = 0; i < x.size(); ++i) {
        state[i] = (x[i] - state[i]) * derived.coeff[i] + state[i];
    }
    logGas = state[0];
    temperature = state[1];
    humidity = state[2];
}

void GasHumidityPreProcessor::setInterval(uint16_t interval) {
    const float halfSampleRate = (kUnitsPerSecond / static_cast<float>(interval)) * 0.5f;  // Hz
    Vec3 w;
    for (std::size_t i = 0; i < w.size(); ++i) {
        w[i] = settings.bandwidth[i] / halfSampleRate;
        if (w[i] > 1.0f) w[i] = 1.0f;
    }
    setCoeffFromBandwidth(derived.coeff, w);
}

}  // namespace vorn
